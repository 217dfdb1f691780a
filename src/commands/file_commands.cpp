#include "commands/file_commands.h"

#include <unistd.h>

#include "model/file_io.h"
#include "texts/texts.h"

namespace quelvari {

std::string ProcedureFileFilter(std::uint32_t lang) {
    switch (lang) {
        case kEnglish:
            return "Test procedure files (*.PAD)|*.PAD|Test procedure module (*.PAM)|*.PAM|"
                   "Test procedure interrupt1 (*.IR1)|*.IR1|Test procedure interrupt2 "
                   "(*.IR2)|*.IR2|"
                   "Test procedure interrupt3 (*.IR3)|*.IR3|Test procedure interrupt4 "
                   "(*.IR4)|*.IR4||";
        case kFrench:
            return "Fichiers Proc\xE9"
                   "dure de test (*.PAD)|*.PAD|Module Proc\xE9"
                   "dure de test (*.PAM)|*.PAM|interruption1 Proc\xE9"
                   "dure de test (*.IR1)|*.IR1|interruption2 Proc\xE9"
                   "dure de test (*.IR2)|*.IR2|interruption3 Proc\xE9"
                   "dure de test (*.IR3)|*.IR3|interruption4 Proc\xE9"
                   "dure de test (*.IR4)|*.IR4||";
        case kItalian:
            // The Italian filter is English, with the first interrupt entry spelled so.
            return "Test procedure files (*.PAD)|*.PAD|Test procedure module (*.PAM)|*.PAM|"
                   "Test procedure interrup1 (*.IR1)|*.IR1|Test procedure interrupt2 (*.IR2)|*.IR2|"
                   "Test procedure interrupt3 (*.IR3)|*.IR3|Test procedure interrupt4 "
                   "(*.IR4)|*.IR4||";
        default:
            return "Pr\xFC"
                   "fablaufdateien (*.PAD)|*.PAD|Pr\xFC"
                   "fablaufmodule (*.PAM)|*.PAM|Pr\xFC"
                   "fablaufinterrupt1 (*.IR1)|*.IR1|Pr\xFC"
                   "fablaufinterrupt2 (*.IR2)|*.IR2|Pr\xFC"
                   "fablaufinterrupt3 (*.IR3)|*.IR3|Pr\xFC"
                   "fablaufinterrupt4 (*.IR4)|*.IR4||";
    }
}

std::string SyntaxTestFileFilter(std::uint32_t lang) {
    switch (lang) {
        case kEnglish:
        case kItalian:
            return "Test procedure files (*.PAD)|*.PAD||";
        case kFrench:
            return "Fichiers Proc\xE9"
                   "dure de Test (*.PAD)|*.PAD||";
        default:
            return "Pr\xFC"
                   "fablaufdateien (*.PAD)|*.PAD||";
    }
}

std::string FileCommands::countText() const {
    return std::to_string(list_.componentCount) + " " + LangText(3102);
}

void FileCommands::showCount() {
    ui_.setStatusCount(countText());
}

void FileCommands::setTitle(const std::string& path) {
    ui_.setWindowTitle(std::string(kProductName) + " - " + path);
}

bool FileCommands::askSaveChanges() {
    if (!list_.modified)
        return true;
    // A procedure without components and without a file of its own (never
    // saved, or closed) has nothing to lose: no question.
    if (list_.componentCount == 0 && (list_.documentPath.empty() || list_.documentPath == kNoName))
        return true;
    switch (ui_.askYesNoCancel(LangText(3139))) {
        case Answer::Cancel:
            return false;
        case Answer::No:
            return true;
        case Answer::Yes:
            fileSave();
            return !list_.modified;
    }
    return false;
}

void FileCommands::fileNew() {
    if (!askSaveChanges())
        return;
    list_.freeProcedure();
    list_.modified = 0;
    list_.lastPath.clear();
    list_.currentNode = &list_.procedureHead;
    list_.componentCount = 0;
    list_.viewRecord.clear();
    list_.documentOpen = 1;
    list_.currentNumber = 1;
    ui_.setStatusCount(" ");
    ui_.repaint();
    list_.documentPath = kNoName;
    setTitle(kNoName);
}

void FileCommands::fileOpen() {
    if (!askSaveChanges())
        return;
    // The procedure is discarded before the dialog: cancelling leaves an empty
    // procedure with no document open.
    list_.freeProcedure();
    list_.modified = 0;
    list_.documentOpen = 0;
    list_.componentCount = 0;
    list_.viewRecord.clear();
    const auto path = ui_.chooseOpenFile(ProcedureFileFilter(language()));
    if (!path) {
        ui_.repaint();
        return;
    }
    if (::access(path->c_str(), F_OK) == 0)
        list_.lastPath = *path;
    if (const Status status = loadProcedure(*path, list_); !status.ok()) {
        ui_.showError(status);
        ui_.repaint();
        return;
    }
    showCount();
    ui_.repaint();
    setTitle(list_.documentPath);
}

std::optional<std::string> FileCommands::askSavePath(const std::string& initialName) {
    auto path = ui_.chooseSaveFile(initialName, ProcedureFileFilter(language()));
    if (!path)
        return std::nullopt;
    if (::access(path->c_str(), R_OK) == 0 &&
        ui_.askYesNo(*path + "\n" + LangText(3138)) != Answer::Yes)
        return std::nullopt;
    return path;
}

bool FileCommands::writeTo(const std::string& path) {
    FileLock lock;
    Status status = lock.acquire(path, kErrFileWrite, kSaveLockWait);
    if (status.ok())
        status = writeProcedure(path, list_);
    if (!status.ok()) {
        ui_.showError(status);
        return false;
    }
    setTitle(path);
    list_.modified = 0;
    return true;
}

void FileCommands::fileSave() {
    if (list_.documentPath == kNoName) {
        const auto path = askSavePath(list_.lastPath);
        if (!path)
            return;
        list_.documentPath = *path;
    }
    writeTo(list_.documentPath);
}

void FileCommands::fileSaveAs() {
    const auto path = askSavePath("");
    if (!path)
        return;
    if (writeTo(*path))
        list_.documentPath = *path;
}

void FileCommands::fileClose() {
    if (!askSaveChanges())
        return;
    list_.freeProcedure();
    list_.documentOpen = 0;
    list_.currentNumber = 0;
    list_.componentCount = 0;
    list_.viewRecord.clear();
    list_.lastPath.clear();
    list_.documentPath.clear();
    ui_.setStatusCount(" ");
    ui_.repaint();
    ui_.setWindowTitle(kProductName);
}

bool FileCommands::closeWindow() {
    if (!askSaveChanges())
        return false;
    list_.freeProcedure();
    ui_.setStatusCount(" ");
    return true;
}

}  // namespace quelvari
