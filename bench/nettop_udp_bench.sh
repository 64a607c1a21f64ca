#!/usr/bin/env bash
# CPU of lumenstat-nettop counting UDP (capture on) under a steady UDP flood through a veth
# between two network namespaces, side by side in one run with `nethogs -t -C` (which counts
# UDP too) and with lumenstat-nettop -u off (the same tool without capture: the floor) on the
# same traffic. Each side sends RATE datagrams of 200 bytes a second to the other, so the
# watchers see 2 x RATE packets a second. All run as root (namespaces, nethogs).
# Usage: bench/nettop_udp_bench.sh [BUILD_DIR] [SECONDS] [RATE]. Defaults: build 20 50000.
set -euo pipefail
BUILD=${1:-build}
SECONDS_RUN=${2:-20}
RATE=${3:-50000}
A=nuA$$ B=nuB$$ NET=10.235.1
. "$(dirname "$0")/nettop_lib.sh"

# The flood: binds LOCAL:PORT, connects to PEER:PORT and sends RATE datagrams a second in
# batches of 50 (sendmmsg), never reading (what arrives is dropped at its full socket, after
# the watchers saw it).
cat >"$work/flood.c" <<'C'
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
int main(int argc, char** argv) {
    int s = socket(AF_INET, SOCK_DGRAM, 0), port = atoi(argv[3]), rate = atoi(argv[4]);
    struct sockaddr_in local = {AF_INET, htons(port)}, peer = {AF_INET, htons(port)};
    inet_pton(AF_INET, argv[1], &local.sin_addr);
    inet_pton(AF_INET, argv[2], &peer.sin_addr);
    if (bind(s, (void*)&local, sizeof local) || connect(s, (void*)&peer, sizeof peer))
        return 1;
    static char payload[200];
    struct iovec iov = {payload, sizeof payload};
    struct mmsghdr batch[50];
    memset(batch, 0, sizeof batch);
    for (int i = 0; i < 50; ++i)
        batch[i].msg_hdr.msg_iov = &iov, batch[i].msg_hdr.msg_iovlen = 1;
    struct timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    const long step = 50 * 1000000000L / rate;
    for (;;) {
        sendmmsg(s, batch, 50, 0);
        next.tv_nsec += step;
        while (next.tv_nsec >= 1000000000L)
            next.tv_nsec -= 1000000000L, next.tv_sec++;
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, NULL);
    }
}
C
cc -O2 -o "$work/flood" "$work/flood.c"

ip netns exec $A "$TOOL" -d -P -J "bytes_in, bytes_out" -x -L 0 -c -t external -s 1 \
  >"$work/tool.out" 2>"$work/tool.err" &
tool_pid=$!
ip netns exec $A "$TOOL" -d -P -J "bytes_in, bytes_out" -x -L 0 -c -t external -s 1 -u off \
  >"$work/floor.out" &
floor_pid=$!
ip netns exec $A "$NETHOGS" -t -C -d 1 eth0 >"$work/nethogs.out" 2>/dev/null &
hogs_pid=$!
# Nanoseconds on a CPU, all threads (scheduler statistics: finer than clock ticks).
cpu() { cat /proc/"$1"/task/*/schedstat | awk '{ns += $1} END {printf "%d", ns}'; }
packets() { ip netns exec $A cat /sys/class/net/eth0/statistics/{rx,tx}_packets | awk '{n += $1} END {print n}'; }
wakeups() { awk '/^(voluntary|nonvoluntary)_ctxt_switches/ {n += $2} END {print n}' /proc/"$1"/status; }
sleep 2 # the watchers past their start-up
ps0=$(packets) l0=$(wc -l <"$work/tool.out")
ip netns exec $A "$work/flood" 10.235.1.1 10.235.1.2 6100 "$RATE" &
flood_a=$!
ip netns exec $B "$work/flood" 10.235.1.2 10.235.1.1 6100 "$RATE" &
flood_b=$!
sleep 2 # the flood's socket found
t0=$(cpu $tool_pid) f0=$(cpu $floor_pid) h0=$(cpu $hogs_pid) p0=$(packets) w0=$(wakeups $tool_pid)
sleep "$SECONDS_RUN"
t1=$(cpu $tool_pid) f1=$(cpu $floor_pid) h1=$(cpu $hogs_pid) p1=$(packets) w1=$(wakeups $tool_pid)
kill $flood_a $flood_b
sleep 2.5 # the last blocks handed over and sampled
# Every UDP byte the tool gave the flood, against what the link carried in all (IP lengths).
counted=$(tail -n +"$((l0 + 1))" "$work/tool.out" | awk -F, '$2 ~ /^flood\./ {n += $3 + $4} END {print n + 0}')
all=$(($(packets) - ps0))

python3 - "$((t1 - t0))" "$((f1 - f0))" "$((h1 - h0))" "$((p1 - p0))" "$((w1 - w0))" "$counted" \
  "$all" "$SECONDS_RUN" "$(cut -d' ' -f1-3 /proc/loadavg)" <<'PY'
import sys
tool, floor, hogs, packets, wakes, counted, all_packets, secs = map(int, sys.argv[1:9])
share = lambda ns: 100.0 * ns / 1e9 / secs
print(f"UDP flood: {packets / secs:,.0f} packets/s through the link, {secs} s, load {sys.argv[9]}")
print(f"lumenstat-nettop, capture on:  {share(tool):.2f} % of a core ({wakes / secs:.1f} wake-ups/s)")
print(f"lumenstat-nettop -u off:       {share(floor):.2f} % of a core")
print(f"nethogs -t -C:                 {share(hogs):.2f} % of a core")
print(f"capture on vs nethogs: {tool / hogs:.2f}x; "
      f"counted {counted / (all_packets * 228) * 100:.2f} % of the flood's IP bytes")
PY
[ -s "$work/tool.err" ] && { echo "tool said:"; cat "$work/tool.err"; }
true
