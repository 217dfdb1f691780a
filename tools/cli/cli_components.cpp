// Verbs of the component area: add and edit, which run a component editor's
// reader over controls given on the command line, as OK in the dialog does.
#include <sys/stat.h>

#include <cstdio>
#include <iostream>

#include "cli.h"
#include "commands/edit_commands.h"
#include "components/catalogue.h"
#include "components/editor.h"
#include "components/form.h"
#include "components/layouts.h"
#include "model/encoding.h"
#include "model/file_io.h"
#include "model/procedure_file.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::cli {
namespace {

constexpr const char* kAddUsage =
    "usage: quelvari-cli add FILE TYPE [CONTROL=VALUE ...] [--lang N]\n\n"
    "Runs the editor of component type TYPE over controls holding the given\n"
    "values, as pressing OK in its dialog would, and appends the record to\n"
    "FILE (a new procedure when FILE does not exist), then saves FILE.\n\n"
    "TYPE is the type letter (M measuring, Z time, I interrupt, u break,\n"
    "C section, U module, D command, p picture, ...); PG is graphic print.\n"
    "CONTROL is a control id or its short name (entry, description, branch,\n"
    "target and the type's own names, listed by \"add FILE TYPE --controls\").\n"
    "A text control takes UTF-8 text that Windows-1252 can hold; a radio button\n"
    "or check box 1 or 0 (checking a radio button clears its group); a combo\n"
    "box the index of one of its entries (or -1 for none). Controls not named\n"
    "are empty, unchecked or without selection.\n"
    "An Interbus-S component (i) takes --function cycle|initialise|reset, the\n"
    "choice of its function selection dialog.\n\n"
    "When a field is refused, the field-error code is printed as 0xHHHH, then\n"
    "the message the dialog would show; FILE is left untouched and the exit\n"
    "status is 3.\n";

constexpr const char* kEditUsage =
    "usage: quelvari-cli edit FILE STEP [CONTROL=VALUE ...] [--lang N]\n\n"
    "Changes component STEP (1-based) of FILE as the Change command does: the\n"
    "dialog is filled from the record, the given values replace those controls,\n"
    "and the reader runs. On success the record keeps its step number and FILE\n"
    "is saved; a refused field is reported as for add (exit status 3).\n"
    "Controls are named as for add. A step whose component opens no dialog (an\n"
    "unknown type, an Interbus-S component without a known function) is\n"
    "refused.\n";

const char* kindName(ControlKind k) {
    switch (k) {
        case ControlKind::Text:
            return "text";
        case ControlKind::Check:
            return "check box (1/0)";
        case ControlKind::Radio:
            return "radio button (1/0)";
        case ControlKind::Combo:
            return "combo box (index)";
    }
    return "";
}

void listControls(const Editor& editor) {
    for (const EditorControl& c : editor.controls)
        std::cout << c.id << "\t" << c.name << "\t" << kindName(c.kind) << "\n";
}

// Sets the controls named in `assignments` on `form`. Returns false after
// printing why when one cannot be set.
// `items` holds the entries each combo box of the dialog offers.
bool applyValues(const Editor& editor, const std::vector<std::string>& assignments, MapForm& form,
                 const MapForm& items) {
    for (const std::string& a : assignments) {
        const auto eq = a.find('=');
        if (eq == std::string::npos || eq == 0) {
            usageError("expected CONTROL=VALUE, got '" + a + "'");
            return false;
        }
        const std::string name = a.substr(0, eq);
        const std::string value = a.substr(eq + 1);
        const EditorControl* entry = nullptr;
        const auto id = parseNumber(name);
        for (const EditorControl& c : editor.controls)
            if ((id && c.id == static_cast<std::uint32_t>(*id)) || name == c.name)
                entry = &c;
        if (!entry) {
            usageError("this component has no control '" + name +
                       "' (add FILE TYPE --controls lists them)");
            return false;
        }
        switch (entry->kind) {
            case ControlKind::Text: {
                const auto text = utf8ToCp1252(value);
                if (!text) {
                    usageError("the text of control '" + name +
                               "' holds a character that Windows-1252 cannot store");
                    return false;
                }
                form.setText(entry->id, *text);
                break;
            }
            case ControlKind::Check:
            case ControlKind::Radio: {
                if (value != "0" && value != "1") {
                    usageError("control '" + name + "' takes 1 or 0");
                    return false;
                }
                if (value == "1" && entry->kind == ControlKind::Radio)
                    for (const EditorControl& c : editor.controls)
                        if (c.kind == ControlKind::Radio && c.group == entry->group)
                            form.setChecked(c.id, false);
                form.setChecked(entry->id, value == "1");
                break;
            }
            case ControlKind::Combo: {
                // Only what the dialog could select: an entry of the box, or
                // -1 for none.
                const auto index = parseNumber(value);
                const auto entries = static_cast<long>(items.items(entry->id).size());
                if (!index || *index < -1 || *index >= entries) {
                    usageError("control '" + name + "' takes an entry index from 0 to " +
                               std::to_string(entries - 1) + " (or -1 for none)");
                    return false;
                }
                form.setCurrentIndex(entry->id, static_cast<int>(*index));
                break;
            }
        }
    }
    return true;
}

std::string directoryOf(const std::string& path) {
    const std::size_t cut = path.find_last_of('/');
    return cut == std::string::npos ? "." : cut == 0 ? "/" : path.substr(0, cut);
}

// Takes "--function cycle|initialise|reset" (or Z, I, R), the choice of the
// Interbus-S function selection dialog, out of `args`. False after printing
// why when its value is unknown; `function` stays 0 without the option.
bool takeInterbusFunction(std::vector<std::string>& args, std::uint8_t& function) {
    function = 0;
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it != "--function")
            continue;
        const std::string value = it + 1 != args.end() ? *(it + 1) : "";
        if (value == "cycle" || value == "Z")
            function = layout::interbus::kCycle;
        else if (value == "initialise" || value == "I")
            function = layout::interbus::kInitialise;
        else if (value == "reset" || value == "R")
            function = layout::interbus::kReset;
        else
            return usageError("--function takes cycle, initialise or reset") == 0;
        args.erase(it, it + std::min<std::ptrdiff_t>(2, args.end() - it));
        return true;
    }
    return true;
}

const EditorControl* controlNamed(const Editor& editor, const std::string& assignment) {
    const std::string name = assignment.substr(0, assignment.find('='));
    const auto id = parseNumber(name);
    const EditorControl* entry = nullptr;
    for (const EditorControl& c : editor.controls)
        if ((id && c.id == static_cast<std::uint32_t>(*id)) || name == c.name)
            entry = &c;
    return entry;
}

// Gives control `c` of `form` the state it has in `from`.
void copyControl(const EditorControl& c, const MapForm& from, MapForm& form) {
    switch (c.kind) {
        case ControlKind::Text:
            form.setText(c.id, from.fullText(c.id));
            break;
        case ControlKind::Check:
        case ControlKind::Radio:
            form.setChecked(c.id, from.checked(c.id));
            break;
        case ControlKind::Combo:
            form.setCurrentIndex(c.id, from.currentIndex(c.id));
            break;
    }
}

bool sameControl(const EditorControl& c, const MapForm& a, const MapForm& b) {
    return a.fullText(c.id) == b.fullText(c.id) && a.checked(c.id) == b.checked(c.id) &&
           a.currentIndex(c.id) == b.currentIndex(c.id);
}

// A value for a control that the dialog leaves without effect in the state
// the other values make (the time factor while the component waits on a
// key) is refused, never dropped: the value of `c` counts when the reader
// gives another result with `c` as it stood in `baseline`.
int refuseUnused(const Editor& editor, const std::vector<std::string>& assignments,
                 const MapForm& baseline, const MapForm& form, const ComponentRecord& start) {
    const auto differ = [&](const MapForm& a, const MapForm& b) {
        ComponentRecord ra = start, rb = start;
        MapForm fa = a, fb = b;
        const int ca = editor.read(fa, ra);
        const int cb = editor.read(fb, rb);
        return ca != cb || ra.bytes != rb.bytes;
    };
    const auto counts = [&](const EditorControl& c, const MapForm& state) {
        MapForm without = state;
        copyControl(c, baseline, without);
        return differ(state, without);
    };
    for (const std::string& a : assignments) {
        const EditorControl* c = controlNamed(editor, a);
        if (!c || c->kind == ControlKind::Radio || sameControl(*c, form, baseline) ||
            counts(*c, form))
            continue;
        // The choice that would use it: a radio button or a check box.
        std::string enabler;
        for (const EditorControl& other : editor.controls) {
            if (&other == c ||
                (other.kind != ControlKind::Radio && other.kind != ControlKind::Check))
                continue;
            if (other.kind == ControlKind::Radio && form.checked(other.id))
                continue;
            MapForm changed = form;
            const bool on = other.kind == ControlKind::Radio || !form.checked(other.id);
            if (other.kind == ControlKind::Radio)
                for (const EditorControl& g : editor.controls)
                    if (g.kind == ControlKind::Radio && g.group == other.group)
                        changed.setChecked(g.id, false);
            changed.setChecked(other.id, on);
            if (counts(*c, changed)) {
                enabler = std::string(other.name) + "=" + (on ? "1" : "0");
                break;
            }
        }
        std::cerr << "quelvari-cli: control '" << c->name
                  << "' has no effect with the other values given"
                  << (enabler.empty() ? std::string() : "; the dialog uses it with " + enabler)
                  << "\n";
        return kExitField;
    }
    return 0;
}

int reportFault(int code) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%04X", code & 0xFFFF);
    const ErrorBox box = ComposeErrorMessage(code);
    std::cout << buf << "\n" << cp1252ToUtf8(box.caption) << "\n" << cp1252ToUtf8(box.text) << "\n";
    return kExitField;
}

int save(const std::string& path, ProcedureList& list) {
    if (const Status status = writeProcedure(path, list); !status.ok()) {
        printErrorMessage(status);
        std::cerr << "quelvari-cli: cannot write " << path << "\n";
        return kExitFile;
    }
    return kExitOk;
}

// Locks PATH for the whole read-modify-write (another writer of the same file
// is waited for) and reads it. With `createMissing`, a missing file is created
// empty under the lock and the list stays empty.
int load(const std::string& path, ProcedureList& list, FileLock& lock, bool createMissing = false) {
    Status status = lock.acquire(path, kErrFileOpen, kLockWait, createMissing);
    if (status.ok() && !lock.created())
        status = loadProcedure(path, list);
    if (!status.ok()) {
        printErrorMessage(status);
        std::cerr << "quelvari-cli: cannot open " << path << " for reading and writing\n";
        return kExitFile;
    }
    return kExitOk;
}

// A full procedure (65535 steps) takes no further step; the file stays as it
// is.
int refuseFull(const std::string& path) {
    std::cerr << cp1252ToUtf8(FormatText(GetLangText(kTextProcedureFull), kMaxSteps)) << "\n";
    std::cerr << "quelvari-cli: " << path << " is not changed\n";
    return kExitFile;
}

// A new component as its dialog would make it: the preset `editRecord`
// filled into the controls, the `values` given for them, the reader's record.
// 0, or the exit status of the refusal.
int readNewRecord(const Editor& editor, const std::string& pad,
                  const std::vector<std::string>& values, ComponentRecord& editRecord) {
    MapForm form;
    form.directory = directoryOf(pad);
    MapForm items;
    editor.fill(editRecord, items);
    const MapForm baseline = form;
    if (!applyValues(editor, values, form, items))
        return kExitUsage;
    const ComponentRecord start = editRecord;
    if (const int code = editor.read(form, editRecord))
        return reportFault(code);
    return refuseUnused(editor, values, baseline, form, start);
}

int runAdd(const std::vector<std::string>& argsIn) {
    auto args = argsIn;
    const bool controls = takeFlag(args, "--controls");
    std::uint32_t lang;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    std::uint8_t function = 0;
    if (!takeInterbusFunction(args, function))
        return kExitUsage;
    if (args.size() < 2)
        return usageError("add takes FILE and TYPE (see add --help)");
    const ComponentType* type = FindTypeByName(args[1]);
    if (!type)
        return usageError("unknown component type '" + args[1] + "'");
    const Editor& editor = EditorOf(*type);
    if (controls) {
        listControls(editor);
        return kExitOk;
    }
    ComponentRecord editRecord;
    PresetNewRecord(editRecord, *type);
    if (type->kind == ComponentKind::Interbus) {
        // The function selection decides which dialog goes on: a record
        // without a known function could never be edited again.
        if (function == 0)
            return usageError(
                "an Interbus-S component needs --function cycle, initialise or reset");
        editRecord.setU8(layout::interbus::kFunction, function);
    } else if (function != 0) {
        return usageError("--function is for Interbus-S components only");
    }
    // The reader fills editRecord; the file is touched only once it passed.
    if (const int e = readNewRecord(editor, args[0], {args.begin() + 2, args.end()}, editRecord))
        return e;
    ProcedureList list;
    const std::string& path = args[0];
    FileLock lock;
    if (const int e = load(path, list, lock, true))
        return e;
    if (!HasRoomForStep(list))
        return refuseFull(path);
    list.documentOpen = 1;
    list.appendRecord(editRecord);
    if (const int e = save(path, list))
        return e;
    std::cout << path << ": step " << list.componentCount << " added\n";
    return kExitOk;
}

int runEdit(const std::vector<std::string>& argsIn) {
    auto args = argsIn;
    std::uint32_t lang;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    if (args.size() < 2)
        return usageError("edit takes FILE and STEP (see edit --help)");
    const auto step = parseNumber(args[1]);
    if (!step || *step < 1)
        return usageError("STEP must be a step number from 1");
    ProcedureList list;
    FileLock lock;
    if (const int e = load(args[0], list, lock))
        return e;
    if (list.componentCount == 0 || *step > static_cast<long>(list.componentCount))
        return usageError("the procedure has no step " + args[1]);
    list.goToStep(static_cast<std::uint32_t>(*step));
    const ComponentRecord viewRecord = list.currentNode->record;
    const ComponentType* type = FindType(viewRecord);
    if (!type)
        return usageError("step " + args[1] + " has an unknown type and cannot be edited");
    if (EditorDialogId(viewRecord) == 0)
        return usageError("step " + args[1] +
                          " is an Interbus-S component without a known function and opens no "
                          "dialog");
    const Editor& editor = EditorOf(*type);
    MapForm form;
    form.directory = directoryOf(args[0]);
    editor.fill(viewRecord, form);
    const std::vector<std::string> values(args.begin() + 2, args.end());
    const MapForm baseline = form;
    if (!applyValues(editor, values, form, form))
        return kExitUsage;
    list.editRecord = viewRecord;
    const int code = editor.read(form, list.editRecord);
    list.editRecord.setNumber(viewRecord.number());
    if (code)
        return reportFault(code);
    if (const int e = refuseUnused(editor, values, baseline, form, viewRecord))
        return e;
    list.currentNode->record = list.editRecord;
    list.viewRecord = list.editRecord;
    list.modified = 1;
    if (const int e = save(args[0], list))
        return e;
    std::cout << args[0] << ": step " << *step << " changed\n";
    return kExitOk;
}

constexpr const char* kInsertUsage =
    "usage: quelvari-cli insert FILE STEP TYPE [CONTROL=VALUE ...] [--lang N]\n\n"
    "Inserts a component before step STEP (1-based) of FILE as the view's\n"
    "Insert does: the component read from the controls (as for add) takes the\n"
    "place of STEP, which becomes STEP + 1, and step references behind the\n"
    "place rise by one. FILE is saved as Save does. In an empty procedure\n"
    "STEP is 1. A refused field is reported as for add (exit status 3).\n";

constexpr const char* kDeleteUsage =
    "usage: quelvari-cli delete FILE STEP\n\n"
    "Deletes step STEP (1-based) of FILE as the view's Delete does and saves\n"
    "FILE. References are renumbered as the editor renumbers them: after\n"
    "deleting step k from the middle, references to k + 2 and beyond drop by\n"
    "one while a reference to k + 1 keeps its value. The only step of a\n"
    "procedure is not deleted: the editor saves no procedure without steps.\n";

// The view's commands without a window: the selection hands over the record
// read from the command line.
class ScriptUi : public EditUi {
  public:
    explicit ScriptUi(const ComponentRecord& record) : record_(record) {}
    bool selectComponent(ComponentRecord& editRecord) override {
        editRecord = record_;
        return true;
    }
    int openEditor(ComponentRecord&) override { return 0; }
    void setStatusCount(const std::string&) override {}
    void repaint(bool) override {}
    void beep() override {}
    void refuse(const std::string&) override { refused_ = true; }
    bool refused() const { return refused_; }

  private:
    ComponentRecord record_;
    bool refused_ = false;
};

// Loads FILE and moves to STEP; 0 or an exit status.
int openAtStep(const std::string& path, const std::string& stepText, ProcedureList& list,
               FileLock& lock, bool allowEmpty) {
    const auto step = parseNumber(stepText);
    if (!step || *step < 1)
        return usageError("STEP must be a step number from 1");
    if (const int e = load(path, list, lock))
        return e;
    const std::uint32_t last = list.componentCount == 0 && allowEmpty ? 1 : list.componentCount;
    if (static_cast<std::uint32_t>(*step) > last || *step > 10000)
        return usageError("the procedure has no step " + stepText);
    list.goToStep(static_cast<std::uint32_t>(*step));
    return kExitOk;
}

int runInsert(const std::vector<std::string>& argsIn) {
    auto args = argsIn;
    std::uint32_t lang;
    if (!takeLanguageOption(args, lang))
        return kExitUsage;
    if (args.size() < 3)
        return usageError("insert takes FILE, STEP and TYPE (see insert --help)");
    const ComponentType* type = FindTypeByName(args[2]);
    if (!type)
        return usageError("unknown component type '" + args[2] + "'");
    const Editor& editor = EditorOf(*type);
    ComponentRecord editRecord;
    PresetNewRecord(editRecord, *type);
    if (const int e = readNewRecord(editor, args[0], {args.begin() + 3, args.end()}, editRecord))
        return e;
    ProcedureList list;
    FileLock lock;
    if (const int e = openAtStep(args[0], args[1], list, lock, true))
        return e;
    ScriptUi ui(editRecord);
    EditCommands commands(list, ui);
    commands.insert();
    if (ui.refused())
        return refuseFull(args[0]);
    if (const int e = save(args[0], list))
        return e;
    std::cout << args[0] << ": step " << list.currentNumber << " inserted, " << list.componentCount
              << " steps\n";
    return kExitOk;
}

int runDelete(const std::vector<std::string>& args) {
    if (args.size() != 2)
        return usageError("delete takes FILE and STEP (see delete --help)");
    ProcedureList list;
    FileLock lock;
    if (const int e = openAtStep(args[0], args[1], list, lock, false))
        return e;
    // The editor saves no procedure without steps either.
    if (list.componentCount == 1)
        return usageError("step " + args[1] +
                          " is the only step; a procedure keeps at least one (remove the file)");
    ScriptUi ui(ComponentRecord{});
    EditCommands commands(list, ui);
    commands.remove();
    if (const int e = save(args[0], list))
        return e;
    std::cout << args[0] << ": step " << args[1] << " deleted, " << list.componentCount
              << " steps\n";
    return kExitOk;
}

}  // namespace

std::vector<Verb> componentVerbs() {
    return {
        {"add", "append a component, read from controls as its dialog would", kAddUsage, runAdd},
        {"edit", "change a component through its dialog's filler and reader", kEditUsage, runEdit},
        {"insert", "insert a component before a step, as the view's Insert", kInsertUsage,
         runInsert},
        {"delete", "delete a step, renumbering as the view's Delete", kDeleteUsage, runDelete},
    };
}

}  // namespace quelvari::cli
