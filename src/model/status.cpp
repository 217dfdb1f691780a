#include "model/status.h"

#include <cstring>

namespace quelvari {

std::string SystemErrorText(int err) {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 32))
    // The untranslated text: the program's locale may be German, and the
    // translated one would also come in the locale's character set.
    if (const char* text = ::strerrordesc_np(err))
        return text;
    return "Error " + std::to_string(err);
#else
    return std::strerror(err);
#endif
}

std::string Status::detail() const {
    if (sysError == 0)
        return description;
    if (description.empty())
        return SystemErrorText(sysError);
    return description + ": " + SystemErrorText(sysError);
}

}  // namespace quelvari
