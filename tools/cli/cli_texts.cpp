// Verbs of the text area.
#include "cli.h"

namespace quelvari::cli {

std::vector<Verb> textVerbs() {
    return {};
}

}  // namespace quelvari::cli
