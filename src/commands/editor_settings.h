// The editor's own settings, in a file of its own beside the program's 8-byte
// configuration file (which stays as it is):
// <program directory>/Quelvari_editor.conf, lines of "key=value":
//
//   recent=/path/to/file.PAD     up to eight, newest first, one line each
//   recovery=1                   minutes between recovery copies (0: none)
//
// Unknown keys and malformed lines are skipped, so older and newer editors
// share the file. Every change is a read-modify-write under the file's
// advisory lock, written through the atomic writer: two editors adding a
// recent file at once both get theirs in.
//
// The recovery copy of an unsaved procedure lives in the user's data folder
// ($XDG_DATA_HOME, else ~/.local/share, then Quelvari/recovery): the records
// as a procedure file plus a small note with the original path and the time.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "model/procedure.h"
#include "model/status.h"

namespace quelvari {

struct EditorSettings {
    static constexpr std::size_t kRecentFiles = 8;
    std::vector<std::string> recent;
    int recoveryMinutes = 1;
};

std::string EditorSettingsPath();
EditorSettings ParseEditorSettings(const std::string& text);
std::string FormatEditorSettings(const EditorSettings& settings);
// A missing or unreadable file gives the defaults.
EditorSettings ReadEditorSettings(const std::string& path = EditorSettingsPath());
// `path` goes to the top of the recent files (once; the ninth drops out).
void PushRecentFile(EditorSettings& settings, const std::string& path);
// Read-modify-write of the file under its lock: adds `file` to the recent
// files and returns the settings as written.
Status AddRecentFile(const std::string& file, EditorSettings* result = nullptr,
                     const std::string& path = EditorSettingsPath());

// ---- Recovery ---------------------------------------------------------------

struct RecoveryNote {
    std::string originalPath;  // the document path, "NoName.PAD" for a new one
    std::time_t savedAt = 0;
};

// The folder of the recovery files, created on demand.
std::string RecoveryDirectory();
// Writes the procedure's records and the note (both atomically) into
// `directory`. The user's file is never touched.
Status WriteRecovery(const ProcedureList& list, const std::string& directory = RecoveryDirectory(),
                     std::time_t now = std::time(nullptr));
// The note of a recovery copy left in `directory`, if there is one.
std::optional<RecoveryNote> FindRecovery(const std::string& directory = RecoveryDirectory());
// The procedure file of the recovery copy.
std::string RecoveryProcedurePath(const std::string& directory = RecoveryDirectory());
// Removes the recovery copy (after a save, a clean exit or the user's choice).
void RemoveRecovery(const std::string& directory = RecoveryDirectory());

}  // namespace quelvari
