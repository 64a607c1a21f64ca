# Sourced by the plug-in tests. face_render KIND HEIGHT INK: the app's Render reply for that face
# in the ink (ARGB); face_width KIND HEIGHT INK: its width once the app answers (up to 10 s).
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
