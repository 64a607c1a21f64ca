#include "Peer.h"

#include <algorithm>
#include <sys/socket.h>

namespace nettop {

namespace {

bool isExternalV4(const uint8_t* a) {
    if (a[0] == 0 && a[1] == 0 && a[2] == 0 && a[3] == 0)
        return false;
    if (a[0] == 127)
        return false;
    return !(a[0] == 169 && a[1] == 254);
}

} // namespace

bool isExternalPeer(const Address& peer) {
    const uint8_t* a = peer.bytes.data();
    if (peer.family == AF_INET)
        return isExternalV4(a);
    if (peer.family != AF_INET6)
        return false;
    const bool leadingZeros = std::all_of(a, a + 10, [](uint8_t b) { return b == 0; });
    if (leadingZeros && a[10] == 0xff && a[11] == 0xff)
        return isExternalV4(a + 12);
    if (leadingZeros && a[10] == 0 && a[11] == 0 && a[12] == 0 && a[13] == 0 && a[14] == 0 &&
        a[15] <= 1)
        return false; // :: and ::1
    return !(a[0] == 0xfe && (a[1] & 0xc0) == 0x80);
}

} // namespace nettop
