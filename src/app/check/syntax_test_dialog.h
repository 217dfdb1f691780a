// The syntax-test dialog (173) and the pre-check. Both list the protocol of
// the core's syntax test; a double click on a finding leads to its step.
#pragma once

#include <QDialog>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/dialog_texts.h"
#include "check/protocol_jump.h"
#include "check/syntax_test.h"
#include "model/procedure.h"

class QLabel;
class QListWidget;
class QPushButton;
class QRadioButton;

namespace quelvari::app {

// Control ids of dialog 173.
namespace syntax_ids {
inline constexpr std::uint32_t kDialog = 173;
inline constexpr std::uint32_t kStart = 1168;
inline constexpr std::uint32_t kPrint = 1169;
inline constexpr std::uint32_t kLumo = 1458;
inline constexpr std::uint32_t kPv6410 = 1459;
inline constexpr std::uint32_t kTarvisel = 1460;
inline constexpr std::uint32_t kPv3320 = 1461;
inline constexpr std::uint32_t kPreCheck = 32798;
}  // namespace syntax_ids

// The check mode chosen last in the syntax-test dialog (Tarvisel at first);
// the pre-check runs in it.
std::uint16_t LastCheckMode();
void SetLastCheckMode(std::uint16_t mode);

// Opens `path` in the editor and selects `step` (0: no step).
using OpenAtStep = std::function<void(const std::string& path, int step)>;
// Selects `step` of the open procedure.
using GoToStep = std::function<void(int step)>;
// Chooses the .PAD file to check; nothing when the user cancelled.
using ChooseProcedure = std::function<std::optional<std::string>()>;

// The file dialog of the syntax test: ".PAD" files only, in the language's
// filter.
std::optional<std::string> ChooseSyntaxTestFile(QWidget* parent);

class SyntaxTestDialog : public QDialog {
    Q_OBJECT
  public:
    SyntaxTestDialog(std::string padPath, ChooseProcedure choose, QWidget* parent = nullptr);

    QListWidget* protocol() const { return list_; }
    QPushButton* startButton() const { return start_; }
    QPushButton* printButton() const { return print_; }
    QRadioButton* modeButton(std::uint16_t mode) const { return modes_[mode]; }
    QLabel* fileLabel() const { return file_; }
    const SyntaxTestResult& syntaxResult() const { return result_; }
    // The finding chosen by a double click that closed the dialog.
    const std::optional<ProtocolTarget>& chosen() const { return chosen_; }

  public slots:
    // Start (1168): runs the test on the chosen file in the chosen mode.
    void start();
    // Print (1169): prints the protocol.
    void print();
    // Chooses another file.
    void chooseFile();
    void openLine(int row);

  private:
    std::uint16_t selectedMode() const;

    WidgetTexts texts_{this};
    std::string padPath_;
    ChooseProcedure choose_;
    QLabel* file_;
    QRadioButton* modes_[4];
    QPushButton* start_;
    QPushButton* print_;
    QListWidget* list_;
    SyntaxTestResult result_;
    std::vector<std::optional<ProtocolTarget>> targets_;
    std::optional<ProtocolTarget> chosen_;
};

// The pre-check: the syntax test's checks on the procedure in memory (unsaved
// changes included) in the last chosen mode, listed in the same form. Writes
// no file. Stays open beside the editor; a double click on a finding of the
// procedure selects its step, and Start runs the checks again.
class PreCheckDialog : public QDialog {
    Q_OBJECT
  public:
    PreCheckDialog(const ProcedureList& list, GoToStep goTo, QWidget* parent = nullptr);

    QListWidget* protocol() const { return list_; }
    const SyntaxTestResult& syntaxResult() const { return result_; }

  public slots:
    void run();
    void openLine(int row);

  private:
    WidgetTexts texts_{this};
    const ProcedureList& procedure_;
    GoToStep goTo_;
    QListWidget* list_;
    SyntaxTestResult result_;
    std::vector<std::optional<ProtocolTarget>> targets_;
};

// Syntax check (32783): chooses the .PAD file, opens dialog 173 on it, and
// after a double click on a finding opens that file at its step through
// `openAt`. `choose` replaces the file dialog (tests).
void RunSyntaxTestDialog(QWidget* parent, const OpenAtStep& openAt,
                         const ChooseProcedure& choose = {});

// Pre-check (32798): shows the pre-check window for `list`, running the
// checks anew; one window per parent.
PreCheckDialog* RunPreCheck(QWidget* parent, const ProcedureList& list, const GoToStep& goTo);

}  // namespace quelvari::app
