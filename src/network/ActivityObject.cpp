#include "ActivityObject.h"

#include <algorithm>

namespace {
uint64_t averageOfNewest(const std::optional<std::vector<uint64_t>>& list, size_t n) {
    if (!list || n == 0)
        return 0;
    long double sum = 0;
    const size_t count = std::min(n, list->size());
    for (size_t i = 0; i < count; ++i)
        sum += static_cast<long double>((*list)[i]);
    return static_cast<uint64_t>(static_cast<double>(sum / static_cast<long double>(n)));
}
} // namespace

NetActivities ActivityObject::avgActivitiesForLastSeconds(int seconds) const {
    if (seconds <= 0)
        return {};
    const size_t n = std::min<size_t>(static_cast<size_t>(seconds), 60);
    return NetActivities{averageOfNewest(sentNumbers, n), averageOfNewest(downNumbers, n)};
}
