#include "app/check/syntax_test_dialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/components/desktop_hooks.h"
#include "app/print/printing.h"
#include "app/qt_text.h"
#include "commands/file_commands.h"
#include "texts/dialog_labels.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::app {

namespace {

std::uint16_t gLastMode = kCheckTarvisel;

QString pathText(const std::string& path) {
    return QFile::decodeName(QByteArray::fromStdString(path));
}

void showCatalogueError(QWidget* parent, const Status& status) {
    const ErrorBox box = ComposeErrorMessage(status);
    QMessageBox message(QMessageBox::NoIcon, ToQt(box.caption), ToQt(box.text), QMessageBox::Ok,
                        parent);
    message.exec();
}

QListWidget* protocolList(QWidget* parent) {
    auto* list = new QListWidget(parent);
    // A fixed-pitch font keeps the protocol's columns (step numbers, memory
    // lines) aligned.
    list->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    list->setMinimumSize(620, 320);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    return list;
}

void fillProtocol(QListWidget* list, const SyntaxTestResult& result,
                  const std::vector<std::optional<ProtocolTarget>>& targets) {
    list->clear();
    for (std::size_t i = 0; i < result.lines.size(); ++i) {
        auto* item = new QListWidgetItem(ToQt(result.lines[i]), list);
        if (i < targets.size() && targets[i] && targets[i]->step > 0)
            item->setToolTip(QStringLiteral("%1: %2").arg(LangQt(3002)).arg(targets[i]->step));
    }
}

// German labels of dialog 173, the texts built into the dialog.
struct Label {
    std::uint32_t id;
    const char* german;
};
constexpr Label kSyntaxLabels[] = {
    {syntax_ids::kTarvisel, "Einsatz mit Tarvisel"},
    {syntax_ids::kLumo, "Einsatz mit LUMO/DOS"},
    {syntax_ids::kPv6410, "Einsatz im Meßgerät PV6410"},
    {syntax_ids::kPv3320, "Einsatz im Meßgerät PV3320"},
    {syntax_ids::kStart, "Syntaxtest starten"},
    {syntax_ids::kPrint, "Drucken"},
    {1, "OK"},
    {2, "Abbrechen"},
};

const char* germanLabel(std::uint32_t id) {
    for (const Label& l : kSyntaxLabels)
        if (l.id == id)
            return l.german;
    return "";
}

}  // namespace

std::uint16_t LastCheckMode() {
    return gLastMode;
}

void SetLastCheckMode(std::uint16_t mode) {
    if (mode <= kCheckPv3320)
        gLastMode = mode;
}

std::optional<std::string> ChooseSyntaxTestFile(QWidget* parent) {
    // "Name (*.PAD)|*.PAD||": the name, with the lower-case spelling accepted
    // as well on file systems that tell case apart.
    const QStringList parts = ToQt(SyntaxTestFileFilter(language())).split(QLatin1Char('|'));
    const QString filter =
        parts.value(0).replace(QStringLiteral("(*.PAD)"), QStringLiteral("(*.PAD *.pad *.Pad)"));
    const QString path = QFileDialog::getOpenFileName(parent, QString(), QString(), filter);
    if (path.isEmpty())
        return std::nullopt;
    return QFile::encodeName(path).toStdString();
}

SyntaxTestDialog::SyntaxTestDialog(std::string padPath, ChooseProcedure choose, QWidget* parent)
    : QDialog(parent), padPath_(std::move(padPath)), choose_(std::move(choose)) {
    setWindowTitle(QStringLiteral("Syntaxtest"));
    auto* layout = new QVBoxLayout(this);

    auto* fileRow = new QHBoxLayout;
    file_ = new QLabel(pathText(padPath_), this);
    file_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* other = new QToolButton(this);
    other->setText(QStringLiteral("..."));
    connect(other, &QToolButton::clicked, this, &SyntaxTestDialog::chooseFile);
    fileRow->addWidget(file_, 1);
    fileRow->addWidget(other);
    layout->addLayout(fileRow);

    // The four places of use, in the order of their modes.
    auto* modes = new QGroupBox(this);
    auto* modeLayout = new QVBoxLayout(modes);
    const std::uint32_t modeIds[4] = {syntax_ids::kTarvisel, syntax_ids::kLumo, syntax_ids::kPv6410,
                                      syntax_ids::kPv3320};
    for (int m = 0; m < 4; ++m) {
        modes_[m] = new QRadioButton(QString::fromUtf8(germanLabel(modeIds[m])), modes);
        modeLayout->addWidget(modes_[m]);
        texts_.add(modeIds[m], modes_[m]);
    }
    modes_[LastCheckMode()]->setChecked(true);

    auto* top = new QHBoxLayout;
    top->addWidget(modes, 1);
    auto* buttons = new QVBoxLayout;
    start_ = new QPushButton(QString::fromUtf8(germanLabel(syntax_ids::kStart)), this);
    print_ = new QPushButton(QString::fromUtf8(germanLabel(syntax_ids::kPrint)), this);
    // Nothing to print before the first run.
    print_->setEnabled(false);
    buttons->addWidget(start_);
    buttons->addWidget(print_);
    buttons->addStretch();
    top->addLayout(buttons);
    layout->addLayout(top);
    texts_.add(syntax_ids::kStart, start_);
    texts_.add(syntax_ids::kPrint, print_);

    list_ = protocolList(this);
    layout->addWidget(list_, 1);

    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    box->button(QDialogButtonBox::Ok)->setText(QString::fromUtf8(germanLabel(1)));
    box->button(QDialogButtonBox::Cancel)->setText(QString::fromUtf8(germanLabel(2)));
    texts_.add(1, box->button(QDialogButtonBox::Ok));
    texts_.add(2, box->button(QDialogButtonBox::Cancel));
    layout->addWidget(box);
    // Return presses OK, as in every dialog; Start and Print take a click
    // or their mnemonic.
    MakeOkTheDefault(this, box->button(QDialogButtonBox::Ok));

    connect(start_, &QPushButton::clicked, this, &SyntaxTestDialog::start);
    connect(print_, &QPushButton::clicked, this, &SyntaxTestDialog::print);
    connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(list_, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { openLine(list_->row(item)); });

    texts_.localise(syntax_ids::kDialog, DialogLabelIds(syntax_ids::kDialog));
}

std::uint16_t SyntaxTestDialog::selectedMode() const {
    for (std::uint16_t m = 0; m < 4; ++m)
        if (modes_[m]->isChecked())
            return m;
    return kCheckTarvisel;
}

void SyntaxTestDialog::chooseFile() {
    if (!choose_)
        return;
    if (auto path = choose_()) {
        padPath_ = *path;
        file_->setText(pathText(padPath_));
    }
}

void SyntaxTestDialog::start() {
    print_->setEnabled(true);
    const std::uint16_t mode = selectedMode();
    SetLastCheckMode(mode);
    QApplication::setOverrideCursor(Qt::WaitCursor);
    result_ = RunSyntaxTest(padPath_, mode);
    targets_ = ProtocolTargets(result_);
    fillProtocol(list_, result_, targets_);
    QApplication::restoreOverrideCursor();
    if (!result_.fileError.ok())
        showCatalogueError(this, result_.fileError);
}

void SyntaxTestDialog::print() {
    PrintProtocol(this, result_.lines);
}

void SyntaxTestDialog::openLine(int row) {
    if (row < 0 || static_cast<std::size_t>(row) >= targets_.size() || !targets_[row])
        return;
    // A finding about a file that is not there leads nowhere.
    if (!QFileInfo::exists(pathText(targets_[row]->path)))
        return;
    chosen_ = targets_[row];
    accept();
}

PreCheckDialog::PreCheckDialog(const ProcedureList& list, GoToStep goTo, QWidget* parent)
    : QDialog(parent), procedure_(list), goTo_(std::move(goTo)) {
    texts_.setTitle(LangText(syntax_ids::kPreCheck));
    auto* layout = new QVBoxLayout(this);
    list_ = protocolList(this);
    layout->addWidget(list_, 1);
    auto* box = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* again = box->addButton(QString::fromUtf8(germanLabel(syntax_ids::kStart)),
                                 QDialogButtonBox::ActionRole);
    texts_.add(syntax_ids::kStart, again);
    box->button(QDialogButtonBox::Close)->setText(LangQt(1));
    layout->addWidget(box);
    connect(again, &QPushButton::clicked, this, &PreCheckDialog::run);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(list_, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { openLine(list_->row(item)); });
    if (language() != kGerman)
        texts_.setItemText(syntax_ids::kStart, LangText(syntax_ids::kStart));
}

void PreCheckDialog::run() {
    // A procedure never saved has no place yet: its modules are all missing.
    const std::string path =
        procedure_.documentPath == kNoName ? std::string() : procedure_.documentPath;
    result_ = RunSyntaxTestInMemory(procedure_, path, LastCheckMode());
    targets_ = ProtocolTargets(result_);
    fillProtocol(list_, result_, targets_);
}

void PreCheckDialog::openLine(int row) {
    if (row < 0 || static_cast<std::size_t>(row) >= targets_.size() || !targets_[row])
        return;
    const ProtocolTarget& t = *targets_[row];
    // Only the procedure in the editor can be gone to; its modules and
    // interrupt procedures are other files.
    if (t.kind != CheckedFileKind::Procedure || t.step <= 0)
        return;
    if (goTo_)
        goTo_(t.step);
}

void RunSyntaxTestDialog(QWidget* parent, const OpenAtStep& openAt, const ChooseProcedure& choose) {
    const ChooseProcedure chooser =
        choose ? choose : [parent] { return ChooseSyntaxTestFile(parent); };
    const auto path = chooser();
    if (!path)
        return;
    SyntaxTestDialog dialog(*path, chooser, parent);
    if (dialog.exec() == QDialog::Accepted && dialog.chosen() && openAt)
        openAt(dialog.chosen()->path, dialog.chosen()->step);
}

PreCheckDialog* RunPreCheck(QWidget* parent, const ProcedureList& list, const GoToStep& goTo) {
    static QPointer<PreCheckDialog> open;
    if (!open || open->parentWidget() != parent) {
        delete open.data();
        open = new PreCheckDialog(list, goTo, parent);
        open->setAttribute(Qt::WA_DeleteOnClose);
    }
    open->run();
    open->show();
    open->raise();
    open->activateWindow();
    return open.data();
}

}  // namespace quelvari::app
