#include "model/system_file.h"

namespace quelvari {

std::string SystemFilePath(const std::string& padPath) {
    if (padPath.size() < 3)
        return "sys";
    return padPath.substr(0, padPath.size() - 3) + "sys";
}

}  // namespace quelvari
