#include "commands/edit_commands.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <system_error>
#include <utility>

#include "commands/file_commands.h"
#include "texts/texts.h"

namespace quelvari {

std::uint32_t HelpTopicOf(std::uint32_t commandId) {
    switch (commandId) {
        case cmd::kHelpFile:
            return 8;
        case cmd::kHelpEdit:
            return 16;
        case cmd::kHelpProcedure:
            return 24;
        case cmd::kHelpQuickStart:
            return 700;
        case cmd::kHelpSelection:
            return 200;
        case cmd::kHelpVariables:
            return 202;
        default:
            return 0;
    }
}

bool CommandEnabled(std::uint32_t id, const CommandState& s) {
    switch (id) {
        case cmd::kSave:
            return s.componentCount != 0 && s.modified;
        case cmd::kSaveAs:
            return s.componentCount != 0;
        case cmd::kUndo:
            return s.documentOpen && s.undoCount != 0;
        case cmd::kRedo:
            return s.documentOpen && s.redoCount != 0;
        case cmd::kMoveUp:
        case cmd::kMoveDown:
            return s.documentOpen && s.componentCount > 1;
        case cmd::kFind:
        case cmd::kFindNext:
            return s.documentOpen && s.componentCount != 0;
        case cmd::kCut:
        case cmd::kCopy:
        case cmd::kPaste:
        case cmd::kAppend:
            return s.documentOpen;
        case cmd::kChange:
            return s.documentOpen && s.viewTypeCode != 0;
        case cmd::kDelete:
            return s.documentOpen && s.componentCount != 0;
        case cmd::kGoTo:
            return s.documentOpen && s.componentCount > 2;
        case cmd::kPreCheck:
            return s.documentOpen && s.componentCount > 1;
        // They choose their own file, so they work only while nothing is open.
        case cmd::kSyntaxTest:
        case cmd::kTransfer:
            return !s.documentOpen;
        case cmd::kDescription:
            return s.documentOpen && s.documentFileExists;
        default:
            return true;
    }
}

std::string WindowTitle(const std::string& documentPath) {
    if (documentPath.empty())
        return kProductName;
    return std::string(kProductName) + " - " + documentPath;
}

std::string StatusCountText(std::uint32_t componentCount) {
    return std::to_string(componentCount) + " " + LangText(3102);
}

std::vector<std::string> ProgramFileNames() {
    return {"veskwin32.exe", "Quelvari.exe", "quelvari.exe"};
}

std::string ProgramDirectory(const std::string& commandLine,
                             const std::vector<std::string>& names) {
    const std::string line = commandLine.empty() ? std::string() : commandLine.substr(1);
    for (const std::string& name : names) {
        const auto at = line.find(name);
        if (at != std::string::npos)
            return line.substr(0, at);
    }
    return line;
}

void UndoStack::push(std::uint32_t commandId, std::uint32_t stepNumber,
                     const ComponentRecord& record) {
    UndoEntry entry;
    entry.commandId = commandId;
    entry.stepNumber = stepNumber;
    entry.record = record;
    push(std::move(entry));
}

void UndoStack::push(UndoEntry entry) {
    if (count_ == kCapacity) {
        for (std::size_t i = 1; i < kCapacity; ++i)
            entries_[i - 1] = std::move(entries_[i]);
        count_ = kCapacity - 1;
    }
    entries_[count_] = std::move(entry);
    ++count_;
}

UndoEntry* UndoStack::pop() {
    if (count_ == 0)
        return nullptr;
    --count_;
    return &entries_[count_];
}

std::uint32_t StepInBox(int box, std::uint32_t currentNumber) {
    const auto r = static_cast<std::uint32_t>(box);
    return currentNumber <= 3 ? r + 1 : r + currentNumber - 2;
}

std::optional<int> StepBoxAt(int x, int y) {
    if (x < steps::kLeft || x > steps::kRight)
        return std::nullopt;
    for (int r = 0; r < steps::kBoxCount; ++r)
        if (y > steps::kTop + steps::kPitch * r && y < steps::kBottom + steps::kPitch * r)
            return r;
    return std::nullopt;
}

std::vector<StepBoxView> StepColumn(std::uint32_t currentNumber, std::uint32_t componentCount) {
    std::vector<StepBoxView> boxes;
    for (int r = 0; r < steps::kBoxCount; ++r) {
        const std::uint32_t step = StepInBox(r, currentNumber);
        if (step > componentCount)
            break;
        boxes.push_back({r, step, steps::kLeft, steps::kTop + steps::kPitch * r, steps::kRight,
                         steps::kBottom + steps::kPitch * r, step == currentNumber});
    }
    return boxes;
}

std::optional<std::uint32_t> ParseGoToStep(const std::string& text, std::uint32_t componentCount) {
    // The field gives at most ten characters; they are read as a decimal
    // number the way the C library does: leading blanks, an optional sign,
    // digits, anything behind them ignored, no digits read as 0.
    const std::string field = text.substr(0, 10);
    std::size_t i = 0;
    while (i < field.size() && std::isspace(static_cast<unsigned char>(field[i])))
        ++i;
    if (i < field.size() && field[i] == '+')
        ++i;
    long long value = 0;
    const char* first = field.data() + i;
    const char* last = field.data() + field.size();
    if (first != last && *first == '-')
        return std::nullopt;  // never a step
    std::from_chars(first, last, value);
    if (value < 1 || value > 10000 || value > static_cast<long long>(componentCount))
        return std::nullopt;
    return static_cast<std::uint32_t>(value);
}

std::string GoToRangeText(std::uint32_t componentCount) {
    return "(1..." + std::to_string(componentCount) + ")";
}

CommandState EditCommands::state() const {
    CommandState s;
    s.documentOpen = list_.documentOpen != 0;
    s.componentCount = list_.componentCount;
    s.modified = list_.modified != 0;
    s.viewTypeCode = list_.viewRecord.typeCode();
    s.undoCount = undo_.count();
    s.redoCount = redo_.size();
    std::error_code ec;
    s.documentFileExists =
        !list_.documentPath.empty() && std::filesystem::is_regular_file(list_.documentPath, ec);
    return s;
}

void EditCommands::finishChange() {
    ui_.setStatusCount(StatusCountText(list_.componentCount));
    ui_.repaint(true);
    list_.modified = 1;
}

// Append, Insert and Paste stop before they change anything when the
// procedure has no room for another step.
bool EditCommands::refuseWhenFull(std::size_t steps) {
    if (list_.componentCount + steps <= kMaxSteps)
        return false;
    ui_.refuse(FormatText(GetLangText(kTextProcedureFull), kMaxSteps));
    return true;
}

void EditCommands::insert() {
    if (refuseWhenFull(list_.pastePending ? std::max<std::size_t>(clipboard_.size(), 1) : 1))
        return;
    if (list_.pastePending && clipboard_.size() > 1) {
        pasteSteps();
        return;
    }
    if (list_.pastePending)
        list_.editRecord = list_.clipboardRecord;
    else if (!ui_.selectComponent(list_.editRecord))
        return;
    // The current record moves behind the new one; references behind the
    // place rise by one (no undo entry for Insert).
    insertHere(list_.editRecord);
    redo_.clear();
    finishChange();
    list_.pastePending = 0;
}

void EditCommands::insertHere(const ComponentRecord& record) {
    // An empty procedure is its empty first node: the record goes into it
    // rather than in front of it, so no empty record is left behind to be
    // saved as a step.
    if (list_.componentCount == 0 && list_.currentNode == &list_.procedureHead &&
        !list_.procedureHead.next && list_.procedureHead.record.typeCode() == 0) {
        list_.appendRecord(record);
        return;
    }
    list_.insertAtCurrent(record);
}

void EditCommands::copy() {
    if (list_.viewRecord.typeCode() == 0)
        return;
    list_.pastePending = 1;
    list_.clipboardRecord = list_.viewRecord;
    clipboard_.clear();
}

void EditCommands::cut() {
    if (list_.viewRecord.typeCode() == 0)
        return;
    copy();
    remove();
}

void EditCommands::remove() {
    ComponentNode* cur = list_.currentNode;
    if (list_.viewRecord.typeCode() == 0 && !cur->next)
        return;
    undo_.push(cmd::kDelete, cur->record.number(), cur->record);
    redo_.clear();
    // The pivot of the renumbering is the number the now current record has
    // before renumbering: after deleting step k from the middle a reference
    // to k + 1 keeps its value.
    list_.deleteCurrent();
    ui_.setStatusCount(StatusCountText(list_.componentCount));
    ui_.repaint(true);
}

void EditCommands::append() {
    if (refuseWhenFull())
        return;
    list_.currentNumber = list_.componentCount + 1;  // kept when cancelled
    if (!ui_.selectComponent(list_.editRecord))
        return;
    list_.appendRecord(list_.editRecord);
    list_.editRecord = list_.currentNode->record;
    undo_.push(cmd::kAppend, list_.currentNode->record.number(), list_.currentNode->record);
    redo_.clear();
    finishChange();
}

void EditCommands::change() {
    if (!list_.documentOpen)
        return;
    ComponentNode* cur = list_.currentNode;
    // The entry is made even when the editor is cancelled.
    undo_.push(cmd::kChange, cur->record.number(), cur->record);
    redo_.clear();
    list_.editRecord = list_.viewRecord;
    const std::uint16_t n = list_.viewRecord.number();
    const int result = ui_.openEditor(list_.editRecord);
    list_.editRecord.setNumber(n);
    if (result != 1)
        return;
    list_.modified = 1;
    list_.viewRecord = list_.editRecord;
    list_.currentNode->record = list_.editRecord;
    ui_.repaint(true);
}

void EditCommands::undo() {
    UndoEntry* entry = undo_.pop();
    if (!entry) {
        ui_.repaint(true);
        list_.modified = 1;
        return;
    }
    // Undoing a Delete brings steps back: not into a procedure without room
    // for them (the entry stays for later).
    if (entry->commandId == cmd::kDelete &&
        refuseWhenFull(entry->parts.empty() ? 1 : entry->parts.size())) {
        undo_.push(*entry);
        return;
    }
    redo_.push_back(undoEntry(*entry));
    list_.viewRecord = list_.currentNode->record;
    finishChange();
}

UndoEntry EditCommands::undoEntry(UndoEntry& entry) {
    UndoEntry redo;
    redo.commandId = entry.commandId;
    redo.stepNumber = entry.stepNumber;
    if (!entry.order.empty()) {
        // A move goes back by the inverse order.
        std::vector<std::uint32_t> back(entry.order.size());
        for (std::size_t i = 0; i < entry.order.size(); ++i)
            back[entry.order[i] - 1] = static_cast<std::uint32_t>(i + 1);
        ReorderSteps(list_, back);
        redo.order = entry.order;
        return redo;
    }
    if (!entry.parts.empty()) {
        // The single Deletes of a multi-step Delete, last one first.
        for (auto part = entry.parts.rbegin(); part != entry.parts.rend(); ++part)
            undoEntry(*part);
        redo.parts = entry.parts;
        return redo;
    }
    list_.goToStep(entry.stepNumber);
    const auto number = static_cast<std::uint16_t>(entry.stepNumber);
    switch (entry.commandId) {
        case cmd::kChange:
            redo.record = list_.currentNode->record;
            list_.currentNode->record = entry.record;
            break;
        case cmd::kDelete:
            if (list_.currentNumber < entry.stepNumber) {
                // The last step was deleted: the record comes back at the end.
                list_.appendRecord(entry.record);
                list_.renumber(number, true);
            } else {
                // Inserting renumbers around the place, as Insert does.
                const std::uint32_t pending = list_.pastePending;
                insertHere(entry.record);
                list_.pastePending = pending;
            }
            list_.currentNode->record.setNumber(number);
            break;
        default:
            // Append: the component goes again as Delete removes it.
            redo.commandId = cmd::kAppend;
            redo.record = list_.currentNode->record;
            list_.deleteCurrent();
            entry.commandId = 0;
            break;
    }
    return redo;
}

void EditCommands::next() {
    if (!list_.documentOpen || !list_.currentNode->next) {
        ui_.beep();
        return;
    }
    list_.currentNode = list_.currentNode->next;
    ++list_.currentNumber;
    list_.viewRecord = list_.currentNode->record;
    ui_.repaint(false);
}

void EditCommands::previous() {
    if (!list_.documentOpen || !list_.currentNode->prev) {
        ui_.beep();
        return;
    }
    list_.currentNode = list_.currentNode->prev;
    --list_.currentNumber;
    list_.viewRecord = list_.currentNode->record;
    ui_.repaint(false);
}

bool EditCommands::goTo(const std::string& text) {
    const auto step = ParseGoToStep(text, list_.componentCount);
    if (!step)
        return false;
    list_.goToStep(*step);
    ui_.repaint(false);
    return true;
}

void EditCommands::selectStepBox(int box) {
    if (!list_.documentOpen || box < 0 || box >= steps::kBoxCount)
        return;
    const std::uint32_t step = StepInBox(box, list_.currentNumber);
    if (step > list_.componentCount || step == list_.currentNumber)
        return;
    list_.goToStep(step);
    ui_.repaint(false);
}

}  // namespace quelvari
