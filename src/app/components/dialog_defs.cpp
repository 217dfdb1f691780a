#include "app/components/dialog_defs.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>

#include "app/components/desktop_hooks.h"
#include "app/qt_text.h"
#include "components/controls.h"
#include "components/editor.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "texts/dialog_labels.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

QRadioButton* radio(std::uint32_t id, const QString& text) {
    return WithId(new QRadioButton(text), id);
}

QGroupBox* group(std::uint32_t id, const QString& title) {
    auto* g = new QGroupBox(title);
    return id ? WithId(g, id) : g;
}

// Radio buttons of one set share a parent; a plain row when there is no box.
QWidget* radioRow(std::initializer_list<QRadioButton*> buttons, bool vertical = false) {
    auto* w = new QWidget;
    QBoxLayout* l = vertical ? static_cast<QBoxLayout*>(new QVBoxLayout(w))
                             : static_cast<QBoxLayout*>(new QHBoxLayout(w));
    l->setContentsMargins(0, 0, 0, 0);
    for (QRadioButton* b : buttons)
        l->addWidget(b);
    l->addStretch();
    return w;
}

QGroupBox* radioGroup(std::uint32_t id, const QString& title,
                      std::initializer_list<QRadioButton*> buttons, bool vertical = false) {
    QGroupBox* g = group(id, title);
    auto* l = new QVBoxLayout(g);
    l->addWidget(radioRow(buttons, vertical));
    return g;
}

template <class F>
void onClick(ComponentDialog& d, std::uint32_t id, F handler) {
    if (auto* b = qobject_cast<QAbstractButton*>(d.form().widget(id)))
        QObject::connect(b, &QAbstractButton::clicked, &d, handler);
}

DialogDef withEditor(const ComponentType& type, DialogDef def) {
    const Editor& e = EditorOf(type);
    def.read = e.read;
    def.fill = e.fill;
    def.dialogId = type.dialogId;
    def.germanTitle = GermanCaption(type.dialogId);
    if (def.helpContext == 0)
        def.helpContext = type.dialogId;
    return def;
}

// ---- Measuring component (130) ----

using control::measuring::kLinkCombo;
using control::measuring::kModeButton;  // 1005 save, 1006 transfer

DialogDef measuring() {
    DialogDef d;
    d.labelIds = DialogLabelIds(dialog_id::kMeasuring);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        auto* top = new QHBoxLayout;
        QGroupBox* mode = group(2088, QStringLiteral("Messart"));
        auto* modeLayout = new QVBoxLayout(mode);
        modeLayout->addWidget(
            radioRow({radio(1004, QStringLiteral("Messen und Warten auf Übertragung")),
                      radio(1005, QStringLiteral("Messen und Speichern im Meßgerät")),
                      radio(1006, QStringLiteral("Übertragung gespeicherter Meßwerte"))},
                     true));
        // The transfer variant, shown in the transfer mode only, set in
        // under the mode it belongs to.
        QWidget* variant = radioRow({radio(2155, QStringLiteral("Speicherabbruch und Übertragung")),
                                     radio(2156, QStringLiteral("Übertragung nach Speicherende"))},
                                    true);
        variant->layout()->setContentsMargins(24, 0, 0, 0);
        modeLayout->addWidget(variant);
        top->addWidget(mode);
        top->addWidget(
            radioGroup(2025, QStringLiteral("Speichern in Datei?"),
                       {radio(1451, QStringLiteral("Ja")), radio(1452, QStringLiteral("Nein"))},
                       true),
            0, Qt::AlignTop);
        body.addLayout(top);

        auto* grid = new QGridLayout;
        const auto label = [&](std::uint32_t id, const char* text, int row) {
            grid->addWidget(NewLabel(id, QString::fromUtf8(text)), row, 0);
        };
        label(1007, "Messgrößen:", 0);
        // The list is read without separators: show the form it expects.
        QLineEdit* quantities = NewEdit(1013);
        quantities->setPlaceholderText(LangQt(window_text::kQuantitiesExample));
        quantities->setToolTip(LangQt(window_text::kQuantitiesForm));
        grid->addWidget(quantities, 0, 1, 1, 2);
        label(1008, "Abtastrate [s]:", 1);
        grid->addWidget(NewEdit(1016), 1, 1);
        label(1009, "Anzahl Messungen:", 2);
        grid->addWidget(NewEdit(1017), 2, 1);
        // First and second trigger side by side.
        label(1010, "Triggervariable:", 3);
        label(1011, "Triggeroperator:", 4);
        label(1012, "Triggerwert:", 5);
        for (int i = 0; i < 3; ++i) {
            grid->addWidget(NewEdit(1018 + static_cast<std::uint32_t>(i)), 3 + i, 1);
            grid->addWidget(NewEdit(1023 + static_cast<std::uint32_t>(i)), 3 + i, 2);
        }
        label(2176, "Triggerverknüpfung:", 6);
        grid->addWidget(WithId(new QComboBox, kLinkCombo), 6, 1);
        label(2178, "Pretrigger:", 7);
        grid->addWidget(WithId(new QComboBox, 2179), 7, 1);
        body.addLayout(grid);
    };
    d.wire = [](ComponentDialog& dlg) {
        using namespace layout::measuring;
        static constexpr std::uint8_t modes[3] = {kModeMeasure, kModeSave, kModeTransfer};
        for (int i = 0; i < 3; ++i)
            onClick(dlg, kModeButton + static_cast<std::uint32_t>(i), [&dlg, i] {
                dlg.record().setU8(kMode, modes[i]);
                ApplyMeasuringMode(dlg.form(), i, dlg.record().u8(kTriggerLink));
            });
        if (auto* link = qobject_cast<QComboBox*>(dlg.form().widget(kLinkCombo)))
            QObject::connect(link, &QComboBox::activated, &dlg, [&dlg](int index) {
                dlg.record().setU8(kTriggerLink, static_cast<std::uint8_t>(index < 0 ? 0 : index));
                ApplyMeasuringMode(dlg.form(), 1, dlg.record().u8(kTriggerLink));
            });
    };
    return d;
}

// ---- Time component (160) ----

DialogDef time() {
    DialogDef d;
    d.labelIds = DialogLabelIds(dialog_id::kTime);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        body.addWidget(radioRow({radio(1160, QStringLiteral("zeitliches Warten")),
                                 radio(1161, QStringLiteral("Warten auf Tastendruck"))},
                                true));
        auto* grid = new QGridLayout;
        AddRow(*grid, NewLabel(3054, QStringLiteral("Zeitfaktor (*10ms):")), NewEdit(1162));
        body.addLayout(grid);
    };
    return d;
}

// ---- Interrupt component (164) ----

DialogDef interrupt() {
    DialogDef d;
    d.labelIds = DialogLabelIds(dialog_id::kInterrupt);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        auto* grid = new QGridLayout;
        grid->addWidget(NewLabel(3060, QStringLiteral("Zeit:")), 0, 3);
        for (std::uint32_t k = 0; k < 4; ++k) {
            const int row = static_cast<int>(k) + 1;
            const QString n = QString::number(k + 1);
            grid->addWidget(
                WithId(new QCheckBox(QStringLiteral("Interruptroutine ") + n), 1178 + k), row, 0);
            grid->addWidget(radioRow({radio(1182 + 2 * k, QStringLiteral("Ein")),
                                      radio(1183 + 2 * k, QStringLiteral("Aus"))}),
                            row, 1);
            grid->addWidget(radioRow({radio(1190 + 2 * k, QStringLiteral("Bausteinroutine")),
                                      radio(1191 + 2 * k, QStringLiteral("Externe I- Routine"))}),
                            row, 2);
            grid->addWidget(NewEdit(1198 + k), row, 3);
            grid->addWidget(WithId(new QComboBox, 1202 + k), row, 4);
        }
        body.addLayout(grid);
    };
    return d;
}

// ---- Break (163) and section (221) components ----

DialogDef breakPoint() {
    DialogDef d;
    d.labelIds = DialogLabelIds(dialog_id::kBreak);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        auto* grid = new QGridLayout;
        AddRow(*grid, NewLabel(3090, QStringLiteral("Bezugsgröße:")), NewEdit(1322));
        AddRow(*grid, NewLabel(0, QStringLiteral("Kennzeichnung:")), NewEdit(1323));
        body.addLayout(grid);
    };
    return d;
}

DialogDef section() {
    DialogDef d;
    d.labelIds = DialogLabelIds(dialog_id::kSection);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        body.addWidget(radioRow({radio(2280, QStringLiteral("1. Abschnitt")),
                                 radio(2281, QStringLiteral("mittlerer Abschnitt")),
                                 radio(2282, QStringLiteral("letzter Abschnitt"))}));
        auto* grid = new QGridLayout;
        AddRow(*grid, NewLabel(3090, QStringLiteral("Bezugsgröße:")), NewEdit(1322));
        AddRow(*grid, NewLabel(2283, QStringLiteral("Abschnittsname")), NewEdit(2278));
        AddRow(*grid, NewLabel(3091, QStringLiteral("Kennung:")), NewEdit(1323));
        body.addLayout(grid);
    };
    return d;
}

// ---- Module component (162) ----

using control::module::kModuleName;

DialogDef module() {
    DialogDef d;
    d.labelIds = DialogLabelIds(dialog_id::kModule);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        auto* row = new QHBoxLayout;
        row->addWidget(NewLabel(3061, QStringLiteral("Modulname:")));
        row->addWidget(NewEdit(kModuleName), 1);
        // Picks a module file; its name without the extension is stored.
        auto* choose = new QPushButton(QStringLiteral("..."));
        choose->setObjectName(QStringLiteral("chooseModule"));
        row->addWidget(choose);
        body.addLayout(row);
    };
    d.wire = [](ComponentDialog& dlg) {
        auto* choose = dlg.findChild<QPushButton*>(QStringLiteral("chooseModule"));
        QObject::connect(choose, &QPushButton::clicked, &dlg, [&dlg] {
            const QString path =
                ChooseOpenFile(&dlg, QStringLiteral("Module (*.PAM *.pam);;* (*)"));
            if (path.isEmpty())
                return;
            const auto name = FromQt(QFileInfo(path).completeBaseName());
            if (name)
                dlg.form().setText(kModuleName, *name);
        });
    };
    return d;
}

// ---- Command component (172) ----

DialogDef command() {
    DialogDef d;
    d.helpContext = 307;
    d.labelIds = DialogLabelIds(dialog_id::kCommand);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        body.addWidget(
            radioGroup(2034, QStringLiteral("Eigenes Fenster für DOS?"),
                       {radio(1057, QStringLiteral("ja")), radio(1056, QStringLiteral("nein"))}));
        auto* grid = new QGridLayout;
        for (std::uint32_t i = 0; i < 4; ++i)
            AddRow(*grid, NewLabel(2041 + i, QStringLiteral("Befehlszeile %1:").arg(i + 1)),
                   NewEdit(1324 + i));
        body.addLayout(grid);
    };
    return d;
}

// ---- Picture component (169) ----

constexpr std::uint32_t kScreen = control::picture::kScreenButton;
using control::picture::kChooseFile;
using control::picture::kLinePosition;

DialogDef picture() {
    DialogDef d;
    d.helpContext = 317;
    d.labelIds = DialogLabelIds(dialog_id::kPicture);
    d.build = [](ComponentDialog&, QBoxLayout& body) {
        auto* file = new QHBoxLayout;
        file->addWidget(WithId(new QPushButton(QStringLiteral("Auswahl Bilddatei")), kChooseFile));
        QLineEdit* shown = NewEdit(1173);
        shown->setReadOnly(true);
        shown->setMinimumWidth(320);
        file->addWidget(shown, 1);
        body.addLayout(file);

        auto* choices = new QHBoxLayout;
        choices->addWidget(radioGroup(
            2018, QStringLiteral("Ausgabe"),
            {radio(1170, QStringLiteral("Bildschirm")), radio(1171, QStringLiteral("Drucker"))},
            true));
        choices->addWidget(radioGroup(
            2006, QStringLiteral("Löschen Bildschirm?"),
            {radio(1057, QStringLiteral("ja")), radio(1056, QStringLiteral("nein"))}, true));
        body.addLayout(choices);

        QGroupBox* format = group(2019, QStringLiteral("Ausgabeformat"));
        auto* grid = new QGridLayout(format);
        static const char* const labels[4] = {
            "X-Position [%]:", "Y-Position [%]:", "Breite [%]:", "Höhe [%]:"};
        for (std::uint32_t i = 0; i < 4; ++i)
            AddRow(*grid, NewLabel(2020 + i, QString::fromUtf8(labels[i])), NewEdit(1174 + i));
        body.addWidget(format);
        body.addWidget(WithId(new QCheckBox(QStringLiteral("Textfluss transparent")), 2163));
        body.addWidget(WithId(new QCheckBox(QStringLiteral("Nutze akt. Zeilenposition")), 2180));
    };
    d.wire = [](ComponentDialog& dlg) {
        onClick(dlg, kScreen, [&dlg] { ApplyPictureMedium(dlg.form(), true); });
        onClick(dlg, kScreen + 1, [&dlg] { ApplyPictureMedium(dlg.form(), false); });
        onClick(dlg, kLinePosition,
                [&dlg] { ApplyPictureMedium(dlg.form(), dlg.form().checked(kScreen)); });
        onClick(dlg, kChooseFile, [&dlg] {
            const QString filter = ToQt(PictureFileFilter(language()));
            const QString path = ChooseOpenFile(&dlg, QtFileFilter(filter));
            if (path.isEmpty())
                return;
            // A path the code page cannot hold is refused like a wrong type.
            const int code = ChoosePictureFile(dlg.form(), FromQt(path).value_or(std::string()));
            if (code) {
                const ErrorBox box = ComposeErrorMessage(code);
                ShowMessage(&dlg, ToQt(box.caption), ToQt(box.text));
            }
        });
    };
    return d;
}

// ---- Every other family ----

// The payload as it stands, sixteen bytes a line, at record offsets.
QString payloadDump(const ComponentRecord& r) {
    QString out;
    for (std::size_t at = rec::kPayload; at < rec::kRecordSize; at += 16) {
        out += QStringLiteral("%1 ").arg(at, 3, 10, QLatin1Char('0'));
        for (std::size_t i = at; i < at + 16 && i < rec::kRecordSize; ++i)
            out += QStringLiteral(" %1").arg(r.bytes[i], 2, 16, QLatin1Char('0'));
        out += QLatin1Char('\n');
    }
    out.chop(1);
    return out;
}

DialogDef generic(const ComponentType& type, std::uint16_t dialogId) {
    DialogDef d;
    d.dialogId = dialogId;
    d.germanTitle = GermanCaption(dialogId);
    d.helpContext = dialogId;
    d.labelIds = ComponentDialogLabels();
    d.read = [&type](Form& form, ComponentRecord& r) { return ReadGeneric(form, r, type); };
    d.fill = FillGeneric;
    d.build = [](ComponentDialog& dlg, QBoxLayout& body) {
        auto* dump = new QPlainTextEdit(payloadDump(dlg.record()));
        dump->setObjectName(QStringLiteral("payload"));
        dump->setReadOnly(true);
        dump->setLineWrapMode(QPlainTextEdit::NoWrap);
        dump->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        dump->setMinimumWidth(dump->fontMetrics().horizontalAdvance(QString(72, QLatin1Char('0'))));
        body.addWidget(dump);
    };
    return d;
}

}  // namespace

QString GermanCaption(std::uint16_t dialogId) {
    switch (dialogId) {
        // Captions of the dialog templates that differ from the name texts.
        case 163:
            return QStringLiteral("Unterbrechungsbaustein");
        case 221:
            return QStringLiteral("Prüfabschnittsbaustein");
        case 172:
            return QStringLiteral("Befehlsbaustein");
        case 189:
            return QStringLiteral("Interbus-S Funktion");
        case 190:
            return QStringLiteral("Interbus-S Initialisierung");
        case 191:
            return QStringLiteral("Interbus-S Zurücksetzen");
        default:
            return ToQt(LangText(dialogId, kGerman));
    }
}

DialogDef DialogFor(const ComponentType& type, std::uint16_t dialogId) {
    switch (type.kind) {
        case ComponentKind::Measuring:
            return withEditor(type, measuring());
        case ComponentKind::Time:
            return withEditor(type, time());
        case ComponentKind::Interrupt:
            return withEditor(type, interrupt());
        case ComponentKind::Break:
            return withEditor(type, breakPoint());
        case ComponentKind::Section:
            return withEditor(type, section());
        case ComponentKind::Module:
            return withEditor(type, module());
        case ComponentKind::Command:
            return withEditor(type, command());
        case ComponentKind::Picture:
            return withEditor(type, picture());
        default:
            return generic(type, dialogId);
    }
}

}  // namespace quelvari::app
