// The list of further benchmark groups.
#include "bench.h"

namespace quelvari::bench {

BenchGroup checkGroup();     // bench_check.cpp
BenchGroup transferGroup();  // bench_transfer.cpp

std::vector<BenchGroup> extraGroups() {
    return {checkGroup(), transferGroup()};
}

}  // namespace quelvari::bench
