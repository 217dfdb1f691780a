#include "commands/used_texts.h"

#include "check/print_layout.h"
#include "check/syntax_test.h"
#include "commands/edit_commands.h"
#include "commands/file_commands.h"
#include "components/catalogue.h"
#include "components/view.h"
#include "model/procedure.h"
#include "texts/dialog_labels.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

constexpr unsigned kAll = 0xF;
constexpr unsigned kRelabelled = 0xE;  // English, French, Italian

// The English table has no caption for the section component: in English
// its dialog shows "?221?". Kept as the program has it.
constexpr std::uint32_t kSectionCaption = 221;

// Answers every question of the file commands with No / Cancel and offers an
// existing path to Save As, so that each question is asked once.
class AskingUi : public FileUi {
  public:
    Answer askYesNoCancel(const std::string&) override { return Answer::Cancel; }
    Answer askYesNo(const std::string&) override { return Answer::No; }
    std::optional<std::string> chooseOpenFile(const std::string&) override { return {}; }
    std::optional<std::string> chooseSaveFile(const std::string&, const std::string&) override {
        return std::string("/");
    }
    void showError(const Status& status) override { ComposeErrorMessage(status); }
    void setWindowTitle(const std::string&) override {}
    void setStatusCount(const std::string&) override {}
    void repaint() override {}
};

// Records of every type in the states its drawing depends on: the mode
// bytes the families use at 88, the picture's medium at 90.
std::vector<ComponentRecord> viewSamples() {
    std::vector<ComponentRecord> out;
    for (const ComponentType& type : kCatalogue) {
        for (int mode : {0, 1, 2, 3, int{'G'}, int{'Z'}, int{'I'}, int{'R'}, int{'M'}, int{'S'},
                         int{'T'}, int{'B'}, int{'C'}}) {
            for (int medium : {0, int{'D'}, int{'P'}}) {
                ComponentRecord r;
                r.setTypeCode(static_cast<std::uint8_t>(type.code));
                r.setU8(rec::kPayload, static_cast<std::uint8_t>(mode));
                r.setU8(rec::kPayload + 1, 1);
                r.setU8(rec::kPayload + 2, static_cast<std::uint8_t>(medium));
                out.push_back(r);
            }
        }
    }
    return out;
}

// What is looked up while the program draws, lists, prints and asks.
std::vector<std::uint32_t> shownIds() {
    TextLookupRecorder recorder;
    for (const ComponentRecord& r : viewSamples())
        DescribeComponent(r);
    for (std::uint32_t id : view_text::kAll)
        GetLangText(id);

    SyntaxTestResult findings;
    findings.files.push_back({CheckedFileKind::Procedure, 0, "T.PAD", "/T.PAD"});
    for (int id : SyntaxFindingTextIds())
        findings.findings.push_back({id, 0, 1, "detail", true, 1});
    findings.errorCount = 1;
    RenderProtocol(findings);
    SyntaxTestResult clean;
    clean.summary.pictures = {"A.BMP"};
    clean.summary.channels = {"A1"};
    clean.summary.sections = {{1, "S"}};
    for (std::uint16_t mode = 0; mode < 4; ++mode) {
        clean.checkMode = mode;
        RenderProtocol(clean);
    }

    PlanProcedurePrint(3, 1000, 1400, 0, "T.PAD");
    PlanProcedurePrint(3, 1000, 1400, 1, "T.PAD");
    PlanProtocolPrint(3, 1000, 1400, 10);

    ProcedureList list;
    AskingUi ui;
    FileCommands files(list, ui);
    files.fileNew();
    ComponentRecord wait;
    wait.setTypeCode('Z');
    list.appendRecord(wait);
    list.modified = 1;
    files.fileClose();
    files.fileSaveAs();
    StatusCountText(1);
    ComposeErrorMessage(ErrorCode(1, 3));
    return recorder.ids();
}

}  // namespace

std::map<std::uint32_t, unsigned> UsedTextIds() {
    std::map<std::uint32_t, unsigned> used;
    for (const DialogLabels& d : DialogLabelLists()) {
        used[d.dialogId] |= kRelabelled;
        for (std::uint32_t id : d.ids)
            used[id] |= kRelabelled;
    }
    // Every component dialog, those of the common list included, and the
    // three Interbus-S function dialogs.
    for (const ComponentType& type : kCatalogue) {
        used[type.dialogId] |= kRelabelled;
        for (std::uint32_t id : DialogLabelIds(type.dialogId))
            used[id] |= kRelabelled;
    }
    for (std::uint32_t id : {kInterbusCycleDialog, kInterbusInitialiseDialog, kInterbusResetDialog})
        used[id] |= kRelabelled;
    for (int p = 0; p < MenuRelabel::kTopLevelCount; ++p)
        used[MenuRelabel::kTopLevelBase + static_cast<std::uint32_t>(p)] |= kAll;
    for (std::uint32_t id : MenuCommandIds())
        used[id] |= kAll;
    for (std::uint32_t id : window_text::kAll)
        used[id] |= kAll;
    for (std::uint32_t id : shownIds())
        used[id] |= kAll;
    used[kSectionCaption] &= ~(1u << kEnglish);
    return used;
}

std::vector<std::uint32_t> MissingTextIds(std::uint32_t lang) {
    const std::uint32_t table = lang <= kItalian ? lang : kGerman;
    std::vector<std::uint32_t> missing;
    for (const auto& [id, languages] : UsedTextIds())
        if ((languages & (1u << table)) && !HasControlText(id, table))
            missing.push_back(id);
    return missing;
}

}  // namespace quelvari
