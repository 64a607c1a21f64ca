# Set-up shared by the traffic-tool benchmarks (sourced): checks the tool, nethogs and root,
# and makes two network namespaces $A and $B joined by a veth (eth0 in $A with
# ${NET}.1, peer0 in $B with ${NET}.2), removed at exit with a private folder $work and every
# background job. The caller sets BUILD, A, B and NET (a /24 prefix such as 10.233.1).
TOOL=$BUILD/tools/lumenstat-nettop/lumenstat-nettop
NETHOGS=$(command -v nethogs || echo /usr/sbin/nethogs)
[ -x "$TOOL" ] || { echo "no $TOOL: build the lumenstat-nettop target first" >&2; exit 1; }
[ -x "$NETHOGS" ] || { echo "nethogs is not installed (Debian package nethogs)" >&2; exit 1; }
[ "$(id -u)" = 0 ] || { echo "run as root: network namespaces, and nethogs captures" >&2; exit 1; }

work=$(mktemp -d)
cleanup() {
  for p in $(jobs -p); do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  ip netns del "$A" 2>/dev/null || true
  ip netns del "$B" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
ip netns add "$A"
ip netns add "$B"
ip -n "$A" link add eth0 type veth peer name peer0 netns "$B"
ip -n "$A" addr add "$NET.1/24" dev eth0
ip -n "$B" addr add "$NET.2/24" dev peer0
for ns in "$A" "$B"; do ip -n "$ns" link set lo up; done
ip -n "$A" link set eth0 up
ip -n "$B" link set peer0 up
