// Description of the test procedure (dialog 199) and the variable definition
// (dialog 202): the side file beside the procedure, edited in two panes.
#pragma once

#include <QDialog>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "app/dialog_texts.h"
#include "model/procedure.h"
#include "model/side_file.h"

class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;

namespace quelvari::app {

namespace describe_ids {
inline constexpr std::uint32_t kDialog = 199;
inline constexpr std::uint32_t kVariableDialog = 202;
inline constexpr std::uint32_t kComment = 2138;
inline constexpr std::uint32_t kText = 2140;
inline constexpr std::uint32_t kCommentLabel = 2141;
inline constexpr std::uint32_t kList = 2157;
inline constexpr std::uint32_t kDescriptionPane = 2158;
inline constexpr std::uint32_t kVariablesPane = 2159;
inline constexpr std::uint32_t kNew = 2160;
inline constexpr std::uint32_t kChange = 2161;
inline constexpr std::uint32_t kDelete = 2162;
inline constexpr std::uint32_t kAutomatic = 2164;
inline constexpr std::uint32_t kName = 1221;
}  // namespace describe_ids

// Dialog 202: the variable's name and description. OK needs a name without
// blanks (the list line keeps the name up to its first blank).
class VariableDialog : public QDialog {
    Q_OBJECT
  public:
    VariableDialog(const QString& name, const QString& description, QWidget* parent = nullptr);
    QLineEdit* nameField() const { return name_; }
    QLineEdit* descriptionField() const { return description_; }
    QPushButton* okButton() const { return ok_; }
    void accept() override;

  private:
    WidgetTexts texts_{this};
    QLineEdit* name_;
    QLineEdit* description_;
    QPushButton* ok_;
};

// Asks for a variable's name and description (Windows-1252), filled with the
// current ones; false on Cancel. Tests replace dialog 202 with their own.
using EditVariable = std::function<bool(std::string& name, std::string& description)>;

class DescriptionDialog : public QDialog {
    Q_OBJECT
  public:
    // `procedure` supplies the variables for automatic generation.
    DescriptionDialog(std::string sideFilePath, std::vector<ComponentRecord> procedure,
                      QWidget* parent = nullptr);

    void setVariableEditor(EditVariable edit) { editVariable_ = std::move(edit); }

    QLineEdit* commentField() const { return comment_; }
    QPlainTextEdit* textField() const { return text_; }
    QLabel* roomLabel() const { return room_; }
    QListWidget* variableList() const { return list_; }
    QRadioButton* descriptionPane() const { return descriptionPane_; }
    QRadioButton* variablesPane() const { return variablesPane_; }
    QPushButton* button(std::uint32_t id) const;
    const VariableLines& variables() const { return content_.variables; }
    const std::string& sideFilePath() const { return path_; }

  public slots:
    void showDescriptionPane();
    void showVariablesPane();
    void newVariable();
    void changeVariable();
    void deleteVariable();
    void generateVariables();
    void accept() override;

  private:
    void refillList(std::optional<std::size_t> select);
    void updateSelectionButtons();
    // The "characters left" line under the description text.
    void updateRoom();
    bool askVariable(std::string& name, std::string& description);

    WidgetTexts texts_{this};
    std::string path_;
    std::vector<ComponentRecord> procedure_;
    SideFileContent content_;
    bool writable_ = false;
    EditVariable editVariable_;
    QLineEdit* comment_;
    QPlainTextEdit* text_;
    QLabel* room_;
    QListWidget* list_;
    QRadioButton* descriptionPane_;
    QRadioButton* variablesPane_;
    QPushButton* new_;
    QPushButton* change_;
    QPushButton* delete_;
    QPushButton* automatic_;
    QPushButton* ok_;
};

// Description of the test procedure (32797): opens dialog 199 on the side file
// of `list.documentPath` (which must name an existing file; nothing happens
// otherwise). Returns whether OK saved it.
bool RunDescriptionDialog(QWidget* parent, const ProcedureList& list);

// The command is enabled while a procedure is open and its path names an
// existing file.
bool DescriptionAvailable(const ProcedureList& list);

}  // namespace quelvari::app
