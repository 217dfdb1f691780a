// Verbs of the component area.
#include "cli.h"

namespace quelvari::cli {

std::vector<Verb> componentVerbs() {
    return {};
}

}  // namespace quelvari::cli
