// The editing commands of the procedure view (Insert, Copy, Cut, Delete,
// Append, Change, Undo, Go to, next and previous step, the step column) and
// the rules the main window shares with them: which command is enabled, the
// window title, the status pane, the program directory.
//
// The component selection and the component editors are reached through
// EditUi, as the File commands reach their dialogs through FileUi, so the
// window implements that interface and tests drive the commands with a script.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/procedure.h"
#include "model/record.h"

namespace quelvari {

// Command ids of the main window (menu items, tool bar, accelerators).
namespace cmd {
inline constexpr std::uint32_t kNew = 57600;
inline constexpr std::uint32_t kOpen = 57601;
inline constexpr std::uint32_t kClose = 57602;
inline constexpr std::uint32_t kSave = 57603;
inline constexpr std::uint32_t kSaveAs = 57604;
inline constexpr std::uint32_t kPrintSetup = 32774;
inline constexpr std::uint32_t kPrint = 32773;
inline constexpr std::uint32_t kExit = 57665;
inline constexpr std::uint32_t kUndo = 57643;
inline constexpr std::uint32_t kCut = 57635;
inline constexpr std::uint32_t kCopy = 57634;
inline constexpr std::uint32_t kPaste = 57637;  // Insert
inline constexpr std::uint32_t kChange = 32778;
inline constexpr std::uint32_t kDelete = 32779;
inline constexpr std::uint32_t kAppend = 32781;
inline constexpr std::uint32_t kGoTo = 32785;
inline constexpr std::uint32_t kPreCheck = 32798;
inline constexpr std::uint32_t kToolBar = 59392;
inline constexpr std::uint32_t kStatusBar = 59393;
inline constexpr std::uint32_t kSyntaxTest = 32783;
inline constexpr std::uint32_t kTransfer = 32784;
inline constexpr std::uint32_t kDescription = 32797;
inline constexpr std::uint32_t kLanguage = 32796;
inline constexpr std::uint32_t kSettings = 32799;
inline constexpr std::uint32_t kHelpContents = 32786;
inline constexpr std::uint32_t kHelpFile = 32788;
inline constexpr std::uint32_t kHelpEdit = 32789;
inline constexpr std::uint32_t kHelpProcedure = 32790;
inline constexpr std::uint32_t kHelpQuickStart = 32791;
inline constexpr std::uint32_t kHelpSelection = 32787;
inline constexpr std::uint32_t kHelpVariables = 32795;
inline constexpr std::uint32_t kAbout = 57664;
// Not a command of the original menu: the link settings of the serial port.
inline constexpr std::uint32_t kLinkSettings = 40001;
// Commands of the step list and the editor's own additions.
inline constexpr std::uint32_t kRedo = 40002;
inline constexpr std::uint32_t kMoveUp = 40003;
inline constexpr std::uint32_t kMoveDown = 40004;
inline constexpr std::uint32_t kMove = 40005;  // drag and drop in the step list
inline constexpr std::uint32_t kFind = 40006;
inline constexpr std::uint32_t kFindNext = 40007;
inline constexpr std::uint32_t kPrintPreview = 40008;
inline constexpr std::uint32_t kStepList = 40009;    // show/hide the step list
inline constexpr std::uint32_t kRecentFile = 40010;  // 40010..40017, newest first
}  // namespace cmd

// The help topic a help command opens; 0 is the contents.
std::uint32_t HelpTopicOf(std::uint32_t commandId);

// What the enabling rules look at.
struct CommandState {
    bool documentOpen = false;
    std::uint32_t componentCount = 0;
    bool modified = false;
    std::uint8_t viewTypeCode = 0;
    std::size_t undoCount = 0;
    std::size_t redoCount = 0;
    bool documentFileExists = false;  // documentPath names an existing file
};
// Whether command `id` is usable in `state`. Ids without a rule are enabled.
bool CommandEnabled(std::uint32_t id, const CommandState& state);

// The window title: "Quelvari - <path>", or the product name alone without a
// document path.
std::string WindowTitle(const std::string& documentPath);
// Status pane 2 after a change: "%d %s" with the count and text 3102.
std::string StatusCountText(std::uint32_t componentCount);

// The program directory found in the process command line: the line without
// its first character (the opening quote of the program path), cut at the
// first of `names` found in it (tried in order). With no hit the whole line
// without its first character.
std::vector<std::string> ProgramFileNames();  // "veskwin32.exe", "Quelvari.exe", "quelvari.exe"
std::string ProgramDirectory(const std::string& commandLine,
                             const std::vector<std::string>& names = ProgramFileNames());

// Undo: the last ten changes. An entry holds the command, the step number of
// the current record when it was made and a copy of that record.
//
// Commands over several steps are one entry each: a Delete of several steps
// keeps the entries of its single Deletes in `parts` (in the order they ran),
// a move keeps the new order of the steps in `order` (order[i] is the old
// step number of new step i + 1).
struct UndoEntry {
    std::uint32_t commandId = 0;
    std::uint32_t stepNumber = 0;
    ComponentRecord record;
    std::vector<UndoEntry> parts;
    std::vector<std::uint32_t> order;
};

class UndoStack {
  public:
    static constexpr std::size_t kCapacity = 10;
    // On a full stack the oldest entry is dropped first.
    void push(std::uint32_t commandId, std::uint32_t stepNumber, const ComponentRecord& record);
    void push(UndoEntry entry);
    // Takes the top entry off; its slot stays readable through `slot`.
    UndoEntry* pop();
    std::size_t count() const { return count_; }
    bool empty() const { return count_ == 0; }
    const UndoEntry& slot(std::size_t i) const { return entries_[i]; }
    void clear() { count_ = 0; }

  private:
    std::array<UndoEntry, kCapacity> entries_{};
    std::size_t count_ = 0;
};

class EditUi {
  public:
    virtual ~EditUi() = default;
    // The component selection: the chosen type's presets go into editRecord
    // and its editor runs; true only when both ended with OK.
    virtual bool selectComponent(ComponentRecord& editRecord) = 0;
    // The editor of editRecord's type: 1 on OK, 0 on Cancel, the type code
    // itself for a type without an editor.
    virtual int openEditor(ComponentRecord& editRecord) = 0;
    // Status bar pane 2.
    virtual void setStatusCount(const std::string& text) = 0;
    // Redraws the view; `erase` clears the background first.
    virtual void repaint(bool erase) = 0;
    virtual void beep() = 0;
    // A command refused with a message (Windows-1252), such as Append on a
    // full procedure; without a message box the refusal is a beep.
    virtual void refuse(const std::string& message) {
        static_cast<void>(message);
        beep();
    }
};

// The step column: ten boxes down the left side of the view.
namespace steps {
inline constexpr int kBoxCount = 10;
inline constexpr int kLeft = 51;
inline constexpr int kRight = 129;
inline constexpr int kTop = 30;
inline constexpr int kBottom = 80;
inline constexpr int kPitch = 100;
}  // namespace steps
// The step that box r (0..9) shows: r + 1 while the current number is at most
// 3, else r + currentNumber - 2, so that the current step stays in box 2.
std::uint32_t StepInBox(int box, std::uint32_t currentNumber);
// The box at a point in the view's unscaled coordinates: x from 51 to 129
// inclusive, y strictly between 30 + 100 r and 80 + 100 r.
std::optional<int> StepBoxAt(int x, int y);

// The boxes of the column that show an existing step, box 0 first, with
// their bounds in unscaled view coordinates.
struct StepBoxView {
    int box = 0;
    std::uint32_t step = 0;
    int left = 0, top = 0, right = 0, bottom = 0;
    bool current = false;
};
std::vector<StepBoxView> StepColumn(std::uint32_t currentNumber, std::uint32_t componentCount);

// Go to: the number field is read as a decimal number (at most 10
// characters); nothing unless it lies in 1..10000 and is not above the count.
std::optional<std::uint32_t> ParseGoToStep(const std::string& text, std::uint32_t componentCount);
// The range line of the Go to dialog: "(1...%d)".
std::string GoToRangeText(std::uint32_t componentCount);

// Orders of the steps after a move: order[i] is the old step number that
// becomes step i + 1. `selected` holds step numbers (1-based, any order); an
// empty result means nothing moves.
//
// Move up: every selected step changes place with the unselected step in
// front of it; a selected block at the top stays where it is.
std::vector<std::uint32_t> MoveUpOrder(std::uint32_t count,
                                       const std::vector<std::uint32_t>& selected);
// Move down: the same towards the end.
std::vector<std::uint32_t> MoveDownOrder(std::uint32_t count,
                                         const std::vector<std::uint32_t>& selected);
// Drag and drop: the selected steps, in their order, go in front of step
// `before` (count + 1: to the end).
std::vector<std::uint32_t> MoveToOrder(std::uint32_t count,
                                       const std::vector<std::uint32_t>& selected,
                                       std::uint32_t before);
// Puts the records of `list` into `order` and points every step reference
// (goto target with a branch condition; the step references of graphic, text
// print and statistic components) at the same component as before. References
// outside 1..count stay as they are. The current component stays current.
void ReorderSteps(ProcedureList& list, const std::vector<std::uint32_t>& order);

class EditCommands {
  public:
    EditCommands(ProcedureList& list, EditUi& ui) : list_(list), ui_(ui) {}

    void insert();
    void copy();
    void cut();
    void remove();
    void append();
    void change();
    void undo();
    void next();
    void previous();
    // Go to: true when `text` named a step and the view moved there (the
    // dialog closes); false leaves the dialog open.
    bool goTo(const std::string& text);
    // Double click in step box `box`.
    void selectStepBox(int box);

    // Commands over the steps selected in the step list (step numbers).
    // Copy keeps all of them for Paste; Delete and Cut remove them as one
    // undoable command; a single step runs the command of the view.
    void copySteps(const std::vector<std::uint32_t>& steps);
    void cutSteps(const std::vector<std::uint32_t>& steps);
    void removeSteps(const std::vector<std::uint32_t>& steps);
    // Reorders the steps (one undoable command); the new step numbers of the
    // moved steps are returned, empty when nothing moved.
    std::vector<std::uint32_t> moveUp(const std::vector<std::uint32_t>& steps);
    std::vector<std::uint32_t> moveDown(const std::vector<std::uint32_t>& steps);
    std::vector<std::uint32_t> moveTo(const std::vector<std::uint32_t>& steps,
                                      std::uint32_t before);
    // Redo of the last undone command; a new command clears what could be
    // redone.
    void redo();
    std::size_t redoCount() const { return redo_.size(); }
    // New, Open and Close forget both.
    void clearHistory();
    // The steps Copy put aside for Paste (one for the view's Copy).
    std::size_t clipboardCount() const { return clipboard_.empty() ? 1 : clipboard_.size(); }

    UndoStack& undoStack() { return undo_; }
    const UndoStack& undoStack() const { return undo_; }
    CommandState state() const;

  private:
    // Refuses (and says so) when `steps` more steps would not fit.
    bool refuseWhenFull(std::size_t steps = 1);
    // Insert before the current component.
    void insertHere(const ComponentRecord& record);
    // The end of every change: status pane, repaint with erase, modified.
    void finishChange();
    // Undoes one entry; what Redo needs to run it again is returned.
    UndoEntry undoEntry(UndoEntry& entry);
    std::vector<std::uint32_t> move(std::uint32_t commandId, std::vector<std::uint32_t> order,
                                    const std::vector<std::uint32_t>& steps);
    // Paste of several copied steps: all of them go in front of the current
    // one, in their order.
    void pasteSteps();
    // Runs the single Deletes of `steps` (highest first) as one undo entry.
    void deleteSteps(std::vector<std::uint32_t> steps, bool keepRedo);

    ProcedureList& list_;
    EditUi& ui_;
    UndoStack undo_;
    std::vector<UndoEntry> redo_;
    // Several copied steps; empty when the view's Copy put one aside.
    std::vector<ComponentRecord> clipboard_;
};

}  // namespace quelvari
