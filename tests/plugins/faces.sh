# Sourced by the panel plug-in tests: the faces as the running app renders them.
#
# face_render KIND HEIGHT INK: the app's Render reply for the face KIND, HEIGHT px high, in the
# ink INK (ARGB, e.g. 0xffffffff); face_width KIND HEIGHT INK: the face's width, once the app
# answers (up to 10 s; nothing when it never does).
face_render() {
  gdbus call --session -d com.quillfern.Lumenstat -o / -m com.quillfern.Lumenstat.Face.Render \
    "$1" "$2" 1 "$3" 2>/dev/null
}
face_width() {
  local width=""
  for _ in $(seq 40); do
    width=$(face_render "$@" | sed -n 's/^(\([0-9]*\),.*/\1/p')
    [ -n "$width" ] && break
    sleep 0.25
  done
  echo "$width"
}
