#include "app/dialogs.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFile>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/components/desktop_hooks.h"
#include "app/dialog_texts.h"
#include "app/qt_text.h"
#include "commands/edit_commands.h"
#include "render/resources.h"
#include "texts/dialog_labels.h"
#include "texts/texts.h"

#ifndef QUELVARI_VERSION
#define QUELVARI_VERSION "0"
#endif
#ifndef QUELVARI_BUILD
#define QUELVARI_BUILD "local"
#endif

namespace quelvari::app {
namespace {

// OK and Cancel with the dialog's German texts, named 1 and 2.
QDialogButtonBox* OkCancel(QDialog* dialog, WidgetTexts& texts,
                           const QString& cancelText = QStringLiteral("Abbrechen")) {
    auto* box = new QDialogButtonBox(dialog);
    QPushButton* ok = box->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole);
    QPushButton* cancel = box->addButton(cancelText, QDialogButtonBox::RejectRole);
    QObject::connect(box, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(box, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    MakeOkTheDefault(dialog, ok);
    texts.add(1, ok);
    texts.add(2, cancel);
    return box;
}

// The flag beside a language's button (the bitmaps 196, 195, 197 and 201).
QLabel* Flag(std::uint32_t lang, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setFixedSize(48, 32);
    const QString path = render::FlagPath(lang);
    if (QFile::exists(path))
        label->setPixmap(QIcon(path).pixmap(48, 32));
    else
        label->setFrameStyle(QFrame::Box);
    return label;
}

}  // namespace

GoToDialog::GoToDialog(std::uint32_t componentCount, std::function<bool(const QString&)> accept,
                       QWidget* parent)
    : QDialog(parent), accept_(std::move(accept)) {
    setWindowTitle(QStringLiteral("Wohin springen"));
    WidgetTexts texts(this);
    auto* layout = new QVBoxLayout(this);
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(QStringLiteral("Baustein Nr:"), this);
    number_ = new QLineEdit(this);
    number_->setMaxLength(10);
    number_->setObjectName(QStringLiteral("number"));
    label->setBuddy(number_);
    row->addWidget(label);
    row->addWidget(number_);
    layout->addLayout(row);
    range_ = new QLabel(QString::fromStdString(GoToRangeText(componentCount)), this);
    layout->addWidget(range_);
    layout->addWidget(OkCancel(this, texts));
    texts.add(2053, label);
    texts.localise(dialog_id::kGoTo, DialogLabelIds(dialog_id::kGoTo));
}

void GoToDialog::accept() {
    // Anything but an existing step keeps the dialog open.
    if (accept_(number_->text()))
        QDialog::accept();
}

SettingsDialog::SettingsDialog(Configuration& config, QWidget* parent)
    : QDialog(parent), config_(config) {
    setWindowTitle(QStringLiteral("Einstellungen"));
    WidgetTexts texts(this);
    auto* layout = new QVBoxLayout(this);
    auto* group = new QGroupBox(QStringLiteral("Ausgabe auf Drucker"), this);
    auto* inner = new QVBoxLayout(group);
    normal_ = new QRadioButton(QStringLiteral("normal"), group);
    extended_ = new QRadioButton(QStringLiteral("erweitert"), group);
    inner->addWidget(normal_);
    inner->addWidget(extended_);
    layout->addWidget(group);
    layout->addWidget(OkCancel(this, texts));
    texts.add(2173, group);
    texts.add(2174, normal_);
    texts.add(2175, extended_);
    texts.localise(dialog_id::kSettings, DialogLabelIds(dialog_id::kSettings));
    // Button 2174 + printSize; a value from a damaged file checks neither.
    if (config_.printSize == 0)
        normal_->setChecked(true);
    else if (config_.printSize == 1)
        extended_->setChecked(true);
}

void SettingsDialog::accept() {
    const std::uint32_t printSize = normal_->isChecked() ? 0 : 1;
    config_.printSize = printSize;
    // Only the print size changes in the file; the language another instance
    // may have written stays.
    UpdateConfiguration([printSize](Configuration& c) { c.printSize = printSize; });
    QDialog::accept();
}

LanguageDialog::LanguageDialog(Configuration& config, std::function<void()> apply, QWidget* parent)
    : QDialog(parent), config_(config), apply_(std::move(apply)) {
    // Its texts are in every language already: never relabelled.
    setWindowTitle(QStringLiteral("Sprache/Language/langue"));
    WidgetTexts texts(this);
    auto* layout = new QVBoxLayout(this);
    const char* names[4] = {"Deutsch", "English", "Francais", "Italiano"};
    for (int i = 0; i < 4; ++i) {
        auto* row = new QHBoxLayout;
        buttons_[i] = new QRadioButton(QString::fromLatin1(names[i]), this);
        row->addWidget(Flag(static_cast<std::uint32_t>(i), this));
        row->addWidget(buttons_[i], 1);
        layout->addLayout(row);
    }
    layout->addWidget(OkCancel(this, texts, QStringLiteral("Abbrechen / Cancel")));
    const std::uint32_t lang = language();
    if (lang < 4)
        buttons_[lang]->setChecked(true);
}

void LanguageDialog::accept() {
    std::uint32_t lang = 3;
    if (buttons_[0]->isChecked())
        lang = 0;
    else if (buttons_[1]->isChecked())
        lang = 1;
    else if (buttons_[2]->isChecked())
        lang = 2;
    config_.language = lang;
    setLanguage(lang);
    UpdateConfiguration([lang](Configuration& c) { c.language = lang; });
    apply_();
    QDialog::accept();
}

QString VersionLine() {
    return QStringLiteral("Quelvari Version %1").arg(QStringLiteral(QUELVARI_VERSION));
}

QString BuildLine() {
    return QStringLiteral("Build %1").arg(QStringLiteral(QUELVARI_BUILD));
}

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Info über Quelvari"));
    WidgetTexts texts(this);
    auto* layout = new QHBoxLayout(this);
    auto* icon = new QLabel(this);
    icon->setPixmap(QApplication::windowIcon().pixmap(64, 64));
    layout->addWidget(icon, 0, Qt::AlignTop);
    auto* column = new QVBoxLayout;
    auto* product = new QLabel(QStringLiteral("<b>Quelvari</b>"), this);
    column->addWidget(product);
    column->addWidget(new QLabel(VersionLine(), this));
    column->addWidget(new QLabel(BuildLine(), this));
    auto* box = new QDialogButtonBox(this);
    QPushButton* ok = box->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole);
    connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
    MakeOkTheDefault(this, ok);
    texts.add(1, ok);
    column->addWidget(box);
    layout->addLayout(column);
    texts.localise(dialog_id::kAbout, DialogLabelIds(dialog_id::kAbout));
}

}  // namespace quelvari::app
