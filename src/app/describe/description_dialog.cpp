#include "app/describe/description_dialog.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/components/desktop_hooks.h"
#include "app/qt_text.h"
#include "check/procedure_variables.h"
#include "texts/dialog_labels.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::app {

namespace ids = describe_ids;

namespace {

// The edit shows line ends as LF; the side file keeps CR LF.
QString textFromFile(const std::string& cp1252) {
    QString text = ToQt(cp1252);
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return text;
}

std::string crLf(const std::string& text) {
    std::string out;
    out.reserve(text.size() + text.size() / 20);
    for (char c : text) {
        if (c == '\n')
            out += '\r';
        out += c;
    }
    return out;
}

void showCatalogueError(QWidget* parent, const Status& status) {
    const ErrorBox box = ComposeErrorMessage(status);
    QMessageBox message(QMessageBox::NoIcon, ToQt(box.caption), ToQt(box.text), QMessageBox::Ok,
                        parent);
    message.exec();
}

}  // namespace

VariableDialog::VariableDialog(const QString& name, const QString& description, QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(QStringLiteral("Variablen definieren"));
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout;
    name_ = new QLineEdit(name, this);
    description_ = new QLineEdit(description, this);
    auto* nameLabel = new QLabel(QStringLiteral("Variable"), this);
    auto* descriptionLabel = new QLabel(QStringLiteral("Beschreibung"), this);
    form->addRow(nameLabel, name_);
    form->addRow(descriptionLabel, description_);
    layout->addLayout(form);
    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    ok_ = box->button(QDialogButtonBox::Ok);
    box->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("Abbrechen"));
    layout->addWidget(box);
    MakeOkTheDefault(this, ok_);
    connect(box, &QDialogButtonBox::accepted, this, &VariableDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
    const auto update = [this] {
        const QString n = name_->text();
        ok_->setEnabled(!n.isEmpty() && !n.contains(QLatin1Char(' ')));
    };
    connect(name_, &QLineEdit::textChanged, this, update);
    update();
    texts_.add(2159, nameLabel);
    texts_.add(2158, descriptionLabel);
    texts_.add(1, ok_);
    texts_.add(2, box->button(QDialogButtonBox::Cancel));
    texts_.localise(ids::kVariableDialog, DialogLabelIds(ids::kVariableDialog));
}

void VariableDialog::accept() {
    if (!ok_->isEnabled() || !CheckStorable(this, name_->text()) ||
        !CheckStorable(this, description_->text()))
        return;
    QDialog::accept();
}

DescriptionDialog::DescriptionDialog(std::string sideFilePath,
                                     std::vector<ComponentRecord> procedure, QWidget* parent)
    : QDialog(parent), path_(std::move(sideFilePath)), procedure_(std::move(procedure)) {
    setWindowTitle(QStringLiteral("Beschreibung Prüfablauf"));
    auto* layout = new QVBoxLayout(this);

    auto* commentRow = new QHBoxLayout;
    auto* commentLabel = new QLabel(QStringLiteral("Kurzkommentar"), this);
    comment_ = new QLineEdit(this);
    comment_->setMaxLength(static_cast<int>(kSideCommentMax));
    commentRow->addWidget(commentLabel);
    commentRow->addWidget(comment_, 1);
    layout->addLayout(commentRow);

    auto* paneRow = new QHBoxLayout;
    descriptionPane_ = new QRadioButton(QStringLiteral("Beschreibung"), this);
    variablesPane_ = new QRadioButton(QStringLiteral("Variable"), this);
    paneRow->addWidget(descriptionPane_);
    paneRow->addWidget(variablesPane_);
    paneRow->addStretch();
    layout->addLayout(paneRow);

    text_ = new QPlainTextEdit(this);
    text_->setMinimumSize(560, 300);
    list_ = new QListWidget(this);
    list_->setMinimumSize(560, 300);
    list_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    room_ = new QLabel(this);
    room_->setAlignment(Qt::AlignRight);
    layout->addWidget(text_, 1);
    layout->addWidget(room_);
    layout->addWidget(list_, 1);

    auto* listButtons = new QHBoxLayout;
    new_ = new QPushButton(QStringLiteral("Neu"), this);
    change_ = new QPushButton(QStringLiteral("Ändern"), this);
    delete_ = new QPushButton(QStringLiteral("Löschen"), this);
    automatic_ = new QPushButton(QStringLiteral("Automatisch erzeugen"), this);
    for (QPushButton* b : {new_, change_, delete_, automatic_}) {
        b->setAutoDefault(false);
        listButtons->addWidget(b);
    }
    listButtons->addStretch();
    layout->addLayout(listButtons);

    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    ok_ = box->button(QDialogButtonBox::Ok);
    box->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("Abbrechen"));
    layout->addWidget(box);

    texts_.add(ids::kCommentLabel, commentLabel);
    texts_.add(ids::kDescriptionPane, descriptionPane_);
    texts_.add(ids::kVariablesPane, variablesPane_);
    texts_.add(ids::kNew, new_);
    texts_.add(ids::kChange, change_);
    texts_.add(ids::kDelete, delete_);
    texts_.add(ids::kAutomatic, automatic_);
    texts_.add(1, ok_);
    texts_.add(2, box->button(QDialogButtonBox::Cancel));

    connect(descriptionPane_, &QRadioButton::clicked, this,
            &DescriptionDialog::showDescriptionPane);
    connect(variablesPane_, &QRadioButton::clicked, this, &DescriptionDialog::showVariablesPane);
    connect(new_, &QPushButton::clicked, this, &DescriptionDialog::newVariable);
    connect(change_, &QPushButton::clicked, this, &DescriptionDialog::changeVariable);
    connect(delete_, &QPushButton::clicked, this, &DescriptionDialog::deleteVariable);
    connect(automatic_, &QPushButton::clicked, this, &DescriptionDialog::generateVariables);
    connect(list_, &QListWidget::itemSelectionChanged, this,
            &DescriptionDialog::updateSelectionButtons);
    connect(list_, &QListWidget::itemDoubleClicked, this, [this] {
        if (change_->isEnabled())
            changeVariable();
    });
    connect(text_, &QPlainTextEdit::textChanged, this, &DescriptionDialog::updateRoom);
    connect(comment_, &QLineEdit::textChanged, this, &DescriptionDialog::updateRoom);
    MakeOkTheDefault(this, ok_);
    connect(box, &QDialogButtonBox::accepted, this, &DescriptionDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);

    // Loading: the title and labels in the current language, the file, the
    // read-only rule, then the description pane.
    texts_.localise(ids::kDialog, DialogLabelIds(ids::kDialog));
    SideFileLoad load = LoadSideFile(path_);
    content_ = std::move(load.content);
    writable_ = load.writable;
    for (QPushButton* b : {ok_, new_, change_, delete_})
        b->setEnabled(writable_);
    comment_->setText(ToQt(content_.comment));
    text_->setPlainText(textFromFile(content_.text));
    refillList(std::nullopt);
    showDescriptionPane();
}

QPushButton* DescriptionDialog::button(std::uint32_t id) const {
    switch (id) {
        case ids::kNew:
            return new_;
        case ids::kChange:
            return change_;
        case ids::kDelete:
            return delete_;
        case ids::kAutomatic:
            return automatic_;
        case 1:
            return ok_;
        default:
            return nullptr;
    }
}

void DescriptionDialog::updateRoom() {
    // What the side file has room for beside the comment and the variable
    // lines; a line break of the text takes two bytes of the file (CR LF).
    SideFileContent rest = content_;
    rest.comment = FromQtLossy(comment_->text());
    const QString text = text_->toPlainText();
    const long used =
        static_cast<long>(text.size()) + static_cast<long>(text.count(QLatin1Char('\n')));
    const long left = static_cast<long>(SideTextRoom(rest)) - used;
    room_->setText(ToQt(FormatText(GetLangText(kTextSideTextRoom), left)));
    QPalette palette = room_->palette();
    palette.setColor(QPalette::WindowText,
                     left < 0 ? QColor(Qt::red) : this->palette().color(QPalette::WindowText));
    room_->setPalette(palette);
}

void DescriptionDialog::showDescriptionPane() {
    room_->setVisible(true);
    text_->setVisible(true);
    descriptionPane_->setChecked(true);
    list_->setVisible(false);
    variablesPane_->setChecked(false);
    for (QPushButton* b : {new_, change_, delete_, automatic_})
        b->setVisible(false);
}

void DescriptionDialog::showVariablesPane() {
    room_->setVisible(false);
    text_->setVisible(false);
    descriptionPane_->setChecked(false);
    list_->setVisible(true);
    variablesPane_->setChecked(true);
    automatic_->setVisible(true);
    new_->setVisible(true);
    updateSelectionButtons();
}

void DescriptionDialog::updateSelectionButtons() {
    const bool selected = variablesPane_->isChecked() && list_->currentRow() >= 0 &&
                          !list_->selectedItems().isEmpty();
    change_->setVisible(selected);
    delete_->setVisible(selected);
}

void DescriptionDialog::refillList(std::optional<std::size_t> select) {
    list_->clear();
    for (const std::string& line : content_.variables.lines())
        list_->addItem(ToQt(line));
    if (select && *select < content_.variables.size())
        list_->setCurrentRow(static_cast<int>(*select));
    else
        list_->setCurrentRow(-1);
    updateSelectionButtons();
    updateRoom();
}

bool DescriptionDialog::askVariable(std::string& name, std::string& description) {
    if (editVariable_)
        return editVariable_(name, description);
    VariableDialog dialog(ToQt(name), ToQt(description), this);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    name = FromQtLossy(dialog.nameField()->text());
    description = FromQtLossy(dialog.descriptionField()->text());
    return true;
}

void DescriptionDialog::newVariable() {
    if (!writable_)
        return;
    std::string name, description;
    if (!askVariable(name, description) || name.empty())
        return;
    refillList(content_.variables.add(NewVariableLine(procedure_, name, description)));
}

void DescriptionDialog::changeVariable() {
    const int row = list_->currentRow();
    if (!writable_ || row < 0 || static_cast<std::size_t>(row) >= content_.variables.size())
        return;
    const VariableEntry entry = ParseVariableLine(content_.variables[row]);
    std::string name = entry.name;
    std::string description = entry.description;
    if (!askVariable(name, description) || name.empty())
        return;
    refillList(
        ChangeVariable(content_.variables, static_cast<std::size_t>(row), name, description));
}

void DescriptionDialog::deleteVariable() {
    const int row = list_->currentRow();
    if (!writable_ || row < 0 || static_cast<std::size_t>(row) >= content_.variables.size())
        return;
    refillList(DeleteVariable(content_.variables, static_cast<std::size_t>(row)));
}

void DescriptionDialog::generateVariables() {
    const int row = list_->currentRow();
    std::optional<std::size_t> keep;
    if (row >= 0)
        keep = static_cast<std::size_t>(row);
    const std::string selected = keep ? content_.variables[*keep] : std::string();
    AddUsedVariables(content_.variables, procedure_);
    refillList(keep ? content_.variables.findPrefix(selected) : std::nullopt);
}

void DescriptionDialog::accept() {
    if (!writable_)
        return;
    const auto comment = FromQt(comment_->text());
    const auto text = FromQt(text_->toPlainText());
    if (!comment) {
        CheckStorable(this, comment_->text());
        comment_->setFocus();
        return;
    }
    if (!text) {
        CheckStorable(this, text_->toPlainText());
        showDescriptionPane();
        text_->setFocus();
        return;
    }
    content_.comment = *comment;
    content_.text = crLf(*text);
    // The dialog's content replaces the file's under the side file's lock,
    // so that no other writer's save interleaves with this one; content whose
    // file would not load back whole is refused and the dialog stays open.
    std::size_t excess = 0;
    const Status status = UpdateSideFile(
        path_, [this](SideFileContent& c) { c = content_; }, &excess);
    if (excess > 0) {
        QMessageBox box(
            QMessageBox::NoIcon, ToQt(LangText(3201)),
            ToQt(FormatText(GetLangText(kTextSideFileTooLong), static_cast<long>(excess))),
            QMessageBox::Ok, this);
        box.exec();
        showDescriptionPane();
        text_->setFocus();
        return;
    }
    if (!status.ok()) {
        showCatalogueError(this, status);
        return;
    }
    QDialog::accept();
}

bool DescriptionAvailable(const ProcedureList& list) {
    return list.documentOpen && !list.documentPath.empty() &&
           QFileInfo(QFile::decodeName(QByteArray::fromStdString(list.documentPath))).isFile();
}

bool RunDescriptionDialog(QWidget* parent, const ProcedureList& list) {
    if (!DescriptionAvailable(list))
        return false;
    std::vector<ComponentRecord> records;
    for (const ComponentNode* node = &list.procedureHead; node && list.componentCount;
         node = node->next)
        records.push_back(node->record);
    // A side file that cannot be read (a FIFO, a device, a directory, a
    // dangling link at its name) is reported instead of being shown empty.
    const std::string sidePath = SideFilePath(list.documentPath);
    if (const SideFileLoad probe = LoadSideFile(sidePath); !probe.status.ok()) {
        showCatalogueError(parent, probe.status);
        return false;
    }
    DescriptionDialog dialog(sidePath, std::move(records), parent);
    return dialog.exec() == QDialog::Accepted;
}

}  // namespace quelvari::app
