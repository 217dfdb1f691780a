// The list of further benchmark groups.
#include "bench.h"

namespace quelvari::bench {

BenchGroup checkGroup();  // bench_check.cpp

std::vector<BenchGroup> extraGroups() {
    return {checkGroup()};
}

}  // namespace quelvari::bench
