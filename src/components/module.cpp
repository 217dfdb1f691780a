// Module component 'U': the name of a procedure module (without extension).
#include "components/module.h"
#include "components/controls.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>

#include "components/editors.h"
#include "components/layouts.h"
#include "model/numbers.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

using control::module::kModuleName;
constexpr std::size_t kNameReadChars = 34;

}  // namespace

bool IsPortableFileName(const std::string& name) {
    if (name.empty())
        return false;
    for (unsigned char c : name) {
        if (c < 0x20)
            return false;
        switch (c) {
            case '<':
            case '>':
            case ':':
            case '"':
            case '/':
            case '\\':
            case '|':
            case '?':
            case '*':
                return false;
            default:
                break;
        }
    }
    if (name.back() == ' ' || name.back() == '.')
        return false;
    // Device names are reserved with any extension, and blanks in front of
    // the extension do not help.
    std::string stem = name.substr(0, name.find('.'));
    while (!stem.empty() && stem.back() == ' ')
        stem.pop_back();
    stem = AsciiUpper(stem);
    static const std::array<const char*, 4> devices = {"CON", "PRN", "AUX", "NUL"};
    for (const char* d : devices)
        if (stem == d)
            return false;
    if (stem.size() == 4 && (stem.compare(0, 3, "COM") == 0 || stem.compare(0, 3, "LPT") == 0) &&
        stem[3] >= '1' && stem[3] <= '9')
        return false;
    return true;
}

bool ModuleNameUsable(const std::string& name, const std::string& directory) {
    if (!IsPortableFileName(name))
        return false;
    const std::string path = directory + "/" + name + ".pa$";
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL, 0644);
    if (fd >= 0) {
        ::close(fd);
        ::unlink(path.c_str());
        return true;
    }
    if (errno != EEXIST)
        return false;
    // A file of that name is already there: it must open for reading and
    // writing, and it stays.
    fd = ::open(path.c_str(), O_RDWR);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}

std::vector<EditorControl> ModuleControls() {
    return {{kModuleName, ControlKind::Text, "name"}};
}

int ReadModule(Form& form, ComponentRecord& r) {
    using namespace layout::module;
    if (const int e = ReadHead(form, r))
        return e;
    const std::string name = ReadText(form, kModuleName, kNameReadChars);
    if (name.empty())
        return ErrorCode(kErrEmptyField, 3);
    if (name.size() > kNameSize - 1 || !ModuleNameUsable(name, form.directory))
        return ErrorCode(kErrModuleName, 3);
    r.setText(kName, name);
    if (const int e = ReadBranch(form, r, 4))
        return e;
    return FinishRead(form, r, 'U');
}

void FillModule(const ComponentRecord& r, Form& form) {
    FillHead(r, form);
    form.setText(kModuleName, r.text(layout::module::kName, layout::module::kNameSize));
}

void DescribeModule(const ComponentRecord& r, ComponentView& view) {
    view.row(LangText(3061), r.text(layout::module::kName, layout::module::kNameSize));
}

}  // namespace quelvari
