// The list of further benchmark groups.
#include "bench.h"

namespace quelvari::bench {

std::vector<BenchGroup> extraGroups() {
    return {};
}

}  // namespace quelvari::bench
