// The view's editing and file commands driven through scripted answers,
// selections and editors that record what the commands asked for and showed.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands/edit_commands.h"
#include "commands/file_commands.h"
#include "exchange/procedure_text.h"
#include "test_util.h"
#include "texts/texts.h"

namespace quelvari::test {

// A record of type `type` whose comment names it, optionally branching; its
// record mark is left for the commands to set.
inline ComponentRecord Step(char type, const std::string& name, std::uint16_t target = 0) {
    ComponentRecord r = makeRecord(type, name, target ? "B1" : "", target);
    r.setRecordMark(0);
    return r;
}

// The next value of `script`, or `none` and a failure when it has run out.
template <class T>
T nextOf(std::deque<T>& script, T none, const std::string& what) {
    EXPECT_FALSE(script.empty()) << "unexpected " << what;
    if (script.empty())
        return none;
    T value = script.front();
    script.pop_front();
    return value;
}

class ScriptedEditUi : public EditUi {
  public:
    std::deque<std::optional<ComponentRecord>> selections;  // nothing = Cancel
    std::deque<int> editorResults;                          // none scripted: OK while a comment is
    std::deque<std::string> editorComments;                 // what the editor writes on OK
    std::vector<std::string> refusals;
    int beeps = 0, erasing = 0, plain = 0, editorsOpened = 0;
    std::string status;

    bool selectComponent(ComponentRecord& r) override {
        const auto s = nextOf(selections, {}, "component selection");
        if (s)
            r = *s;
        return s.has_value();
    }
    int openEditor(ComponentRecord& r) override {
        ++editorsOpened;
        if (editorResults.empty() && editorComments.empty()) {
            ADD_FAILURE() << "unexpected editor";
            return 0;
        }
        const int result = editorResults.empty() ? 1 : nextOf(editorResults, 0, "editor");
        r.setNumber(999);  // the command puts the step number back
        if (!editorComments.empty())
            storeComment(r, nextOf(editorComments, {}, "editor comment"));
        return result;
    }
    void setStatusCount(const std::string& text) override { status = text; }
    void repaint(bool erase) override { ++(erase ? erasing : plain); }
    void beep() override { ++beeps; }
    void refuse(const std::string& message) override {
        refusals.push_back(message);
        EditUi::refuse(message);
    }
};

// Answers from a script and records what the commands asked and showed.
class ScriptedFileUi : public FileUi {
  public:
    std::deque<Answer> answers;
    std::deque<std::optional<std::string>> files;
    std::vector<std::string> questions;
    std::vector<std::string> initialNames;
    std::vector<int> errors;
    std::vector<std::string> details;
    std::string title, status;

    Answer askYesNoCancel(const std::string& text) override { return answer(text); }
    Answer askYesNo(const std::string& text) override { return answer(text); }
    std::optional<std::string> chooseOpenFile(const std::string&) override { return file(); }
    std::optional<std::string> chooseSaveFile(const std::string& initial,
                                              const std::string&) override {
        initialNames.push_back(initial);
        return file();
    }
    void showError(const Status& s) override {
        errors.push_back(s.code());
        details.push_back(s.detail());
    }
    void setWindowTitle(const std::string& t) override { title = t; }
    void setStatusCount(const std::string& s) override { status = s; }
    void repaint() override {}

  private:
    Answer answer(const std::string& text) {
        questions.push_back(text);
        return nextOf(answers, Answer::Cancel, "question: " + text);
    }
    std::optional<std::string> file() { return nextOf(files, {}, "file dialog"); }
};

// An open, empty procedure with its commands.
struct EditSession {
    EditSession() {
        list.documentOpen = 1;
        list.currentNumber = 1;
    }
    // Appends the records through the Append command.
    void appendAll(const std::vector<ComponentRecord>& records) {
        for (const auto& r : records) {
            ui.selections.push_back(r);
            commands.append();
        }
    }
    ProcedureList list;
    ScriptedEditUi ui;
    EditCommands commands{list, ui};
};

// An edit session in German with helpers that show its state.
class EditFixture : public ::testing::Test, public EditSession {
  protected:
    void SetUp() override { setLanguage(kGerman); }
    static std::vector<ComponentRecord> records(const ProcedureList& l) {
        return exchange::ListRecords(l);
    }
    // Appends the records and forgets the appends' undo entries.
    void build(const std::vector<ComponentRecord>& steps) {
        appendAll(steps);
        commands.clearHistory();
    }
    // The steps' comments, separated by blanks, once the numbering is checked.
    std::string comments() {
        checkNumbering();
        std::string out;
        for (const auto& r : records(list))
            out += (out.empty() ? "" : " ") + r.comment();
        return out;
    }
    std::vector<std::uint16_t> targets() const {
        std::vector<std::uint16_t> out;
        for (const auto& r : records(list))
            out.push_back(r.gotoTarget());
        return out;
    }
    // The current step's number and the comment the view shows.
    std::string at() const {
        return std::to_string(list.currentNumber) + " " + list.viewRecord.comment();
    }
    void undo(int times) {
        while (times-- > 0)
            commands.undo();
    }
    // Change with an editor that writes `comment` and returns OK.
    void change(const std::string& comment) {
        ui.editorComments = {comment};
        commands.change();
    }
    // The steps' comments, then "@" and the current step.
    std::string shown() { return comments() + " @" + at(); }
    // The command and step number of undo entry `i`.
    std::pair<std::uint32_t, std::uint32_t> entry(std::size_t i) const {
        return {commands.undoStack().slot(i).commandId, commands.undoStack().slot(i).stepNumber};
    }
    // Numbers 1..n (0 in the empty head), links both ways, the tail, and one
    // node per component.
    void checkNumbering() {
        std::uint16_t n = 1;
        for (const ComponentNode* node = &list.procedureHead; node; node = node->next, ++n) {
            EXPECT_EQ(node->record.number(), list.componentCount == 0 ? 0 : n);
            EXPECT_EQ(node->next ? node->next->prev : list.tail(), node);
        }
        EXPECT_EQ(list.nodeCount(), list.componentCount == 0 ? 1u : list.componentCount);
    }
};

}  // namespace quelvari::test
