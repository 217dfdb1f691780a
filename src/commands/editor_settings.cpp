#include "commands/editor_settings.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "model/config.h"
#include "model/file_io.h"

namespace quelvari {
namespace {

constexpr const char* kRecoveryFile = "recovery.PAD";
constexpr const char* kRecoveryNote = "recovery.note";

// The editor's own small files; anything larger is not one of them.
std::string ReadText(const std::string& path) {
    std::string text;
    if (!ReadRegularFile(path, std::size_t{1} << 20, text).ok())
        return {};
    return text;
}

}  // namespace

std::string EditorSettingsPath() {
    return GetConfigPaths().programDir + "/Quelvari_editor.conf";
}

EditorSettings ParseEditorSettings(const std::string& text) {
    EditorSettings s;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const auto eq = line.find('=');
        if (eq == std::string::npos)
            continue;
        const std::string key = line.substr(0, eq), value = line.substr(eq + 1);
        if (key == "recent" && !value.empty() && s.recent.size() < EditorSettings::kRecentFiles) {
            bool known = false;
            for (const auto& r : s.recent)
                known = known || r == value;
            if (!known)
                s.recent.push_back(value);
        } else if (key == "recovery" && !value.empty() && value.size() <= 4 &&
                   value.find_first_not_of("0123456789") == std::string::npos) {
            s.recoveryMinutes = std::stoi(value);
        }
    }
    return s;
}

std::string FormatEditorSettings(const EditorSettings& s) {
    std::string text;
    for (const auto& r : s.recent)
        text += "recent=" + r + "\n";
    text += "recovery=" + std::to_string(s.recoveryMinutes) + "\n";
    return text;
}

EditorSettings ReadEditorSettings(const std::string& path) {
    return ParseEditorSettings(ReadText(path));
}

void PushRecentFile(EditorSettings& s, const std::string& path) {
    std::erase(s.recent, path);
    s.recent.insert(s.recent.begin(), path);
    if (s.recent.size() > EditorSettings::kRecentFiles)
        s.recent.resize(EditorSettings::kRecentFiles);
}

Status AddRecentFile(const std::string& file, EditorSettings* result, const std::string& path) {
    // A path with a line break would split into two entries.
    if (file.empty() || file.find_first_of("\r\n") != std::string::npos)
        return {};
    CreateDirectories(DirectoryOf(path));
    FileLock lock;
    if (Status s = lock.acquire(path, kErrFileWrite, kLockWait, true); !s.ok())
        return s;
    EditorSettings settings = ReadEditorSettings(path);
    const std::string before = FormatEditorSettings(settings);
    PushRecentFile(settings, file);
    const std::string text = FormatEditorSettings(settings);
    if (result)
        *result = settings;
    // Opening the newest file again changes nothing, and the file is left
    // as it is (a write would flush it and its folder to the disk).
    if (text == before)
        return {};
    return WriteFileAtomically(path, text.data(), text.size());
}

std::string RecoveryDirectory() {
    std::string base;
    if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data)
        base = data;
    else if (const char* home = std::getenv("HOME"); home && *home)
        base = std::string(home) + "/.local/share";
    else
        base = "/tmp";
    return base + "/Quelvari/recovery";
}

Status WriteRecovery(const ProcedureList& list, const std::string& directory, std::time_t now) {
    CreateDirectories(directory);
    // The records as they stand in memory: the copy is what the user had on
    // screen, marks and all.
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(list.componentCount) * rec::kRecordSize);
    std::uint32_t n = 0;
    for (const ComponentNode* node = &list.procedureHead; node && n < list.componentCount;
         node = node->next, ++n)
        bytes.append(reinterpret_cast<const char*>(node->record.data()), rec::kRecordSize);
    if (Status s = WriteFileAtomically(directory + "/" + kRecoveryFile, bytes.data(), bytes.size());
        !s.ok())
        return s;
    const std::string note = "path=" + list.documentPath + "\ntime=" + std::to_string(now) + "\n";
    return WriteFileAtomically(directory + "/" + kRecoveryNote, note.data(), note.size());
}

std::optional<RecoveryNote> FindRecovery(const std::string& directory) {
    if (!IsReadableRegularFile(directory + "/" + kRecoveryFile))
        return std::nullopt;
    const std::string text = ReadText(directory + "/" + kRecoveryNote);
    if (text.empty())
        return std::nullopt;
    RecoveryNote note;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("path=", 0) == 0)
            note.originalPath = line.substr(5);
        else if (line.rfind("time=", 0) == 0 && line.size() > 5 &&
                 line.find_first_not_of("0123456789", 5) == std::string::npos && line.size() < 25)
            note.savedAt = static_cast<std::time_t>(std::stoll(line.substr(5)));
    }
    return note;
}

std::string RecoveryProcedurePath(const std::string& directory) {
    return directory + "/" + kRecoveryFile;
}

void RemoveRecovery(const std::string& directory) {
    std::error_code ec;
    std::filesystem::remove(directory + "/" + kRecoveryFile, ec);
    std::filesystem::remove(directory + "/" + kRecoveryNote, ec);
}

}  // namespace quelvari
