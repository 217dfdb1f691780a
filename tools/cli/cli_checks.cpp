// Verbs of the check area.
#include "cli.h"

namespace quelvari::cli {

std::vector<Verb> checkVerbs() {
    return {};
}

}  // namespace quelvari::cli
