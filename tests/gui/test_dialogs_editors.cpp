// Each editor dialog, driven through its widgets, stores exactly what the
// core's reader makes of the same inputs, and opens showing what the core's
// filler shows.
#include <QPlainTextEdit>

#include <algorithm>

#include "app/components/component_dialogs.h"
#include "components/catalogue.h"
#include "components/editors.h"
#include "dialog_driver.h"

namespace quelvari::app::test {
namespace {

const EditorControl* ControlOf(const Editor& e, std::uint32_t id) {
    for (const EditorControl& s : e.controls)
        if (s.id == id)
            return &s;
    return nullptr;
}

using FieldText = std::pair<std::uint32_t, std::string>;
FieldText Text(std::uint32_t id, const std::string& text) {
    return {id, text};
}

// A record as the core reader stores it from these texts, checked buttons
// and combo selections.
ComponentRecord Stored(ComponentKind kind, std::vector<FieldText> texts,
                       std::vector<std::uint32_t> checked,
                       std::vector<std::pair<std::uint32_t, int>> combos = {}) {
    MapForm f;
    for (const auto& [id, text] : texts)
        f.setText(id, text);
    for (std::uint32_t id : checked)
        f.setChecked(id, true);
    for (const auto& [id, index] : combos)
        f.setCurrentIndex(id, index);
    ComponentRecord r;
    EXPECT_EQ(EditorOf(TypeOf(kind)).read(f, r), 0);
    return r;
}

class EditorDialogs : public DialogTest {
  protected:
    // Does `s` on the dialog's widgets and, as the reader is to see it, on `f`.
    void Apply(const Step& s, ComponentDialog& d, MapForm& f, const Editor& e) {
        switch (s.kind) {
            case Step::TypeText:
                Type(d, s.id, s.text);
                f.setText(s.id, FromQt(s.text).value());
                break;
            case Step::ChooseItem:
                Choose(d, s.id, s.index);
                f.setCurrentIndex(s.id, s.index);
                break;
            case Step::PickFile:
                nextFile = s.text;
                Click(d, 1172);
                ChoosePictureFile(f, FromQt(s.text).value());
                break;
            case Step::ClickButton: {
                Click(d, s.id);
                const EditorControl* control = ControlOf(e, s.id);
                ASSERT_NE(control, nullptr) << s.id;
                if (control->kind == ControlKind::Check) {
                    f.setChecked(s.id, !f.checked(s.id));
                    break;
                }
                for (const EditorControl& other : e.controls)
                    if (other.kind == ControlKind::Radio && other.group == control->group)
                        f.setChecked(other.id, other.id == s.id);
                break;
            }
        }
    }

    // The dialog shows what the filler shows: texts, checks, selections,
    // enabling and visibility of every control the reader reads.
    static void ExpectShows(ComponentDialog& d, const Editor& e, const MapForm& shown) {
        for (const EditorControl& s : e.controls) {
            SCOPED_TRACE(s.name);
            QWidget* w = d.form().widget(s.id);
            ASSERT_NE(w, nullptr);
            if (s.kind == ControlKind::Text) {
                EXPECT_EQ(d.form().text(s.id, 1000), shown.text(s.id, 1000));
            }
            EXPECT_EQ(d.form().checked(s.id), shown.checked(s.id));
            if (s.kind == ControlKind::Combo) {
                EXPECT_EQ(d.form().currentIndex(s.id), shown.currentIndex(s.id));
                EXPECT_EQ(static_cast<QComboBox*>(w)->count(),
                          static_cast<int>(shown.items(s.id).size()));
            }
            EXPECT_EQ(w->isEnabled(), shown.enabled(s.id));
            EXPECT_EQ(!w->isHidden(), shown.visible(s.id));
        }
    }

    void ExpectSameAsReader(const ComponentRecord& start, const std::vector<Step>& steps) {
        const ComponentType* type = FindType(start);
        ASSERT_NE(type, nullptr);
        const Editor& ed = EditorOf(*type);
        MapForm shown;
        ed.fill(start, shown);
        MapForm typed = shown;
        ComponentRecord edit = start;
        WhenShown<ComponentDialog>([&](ComponentDialog& d) {
            ExpectShows(d, ed, shown);
            for (const Step& s : steps)
                Apply(s, d, typed, ed);
            Click(d, ctl::kOk);
        });
        EXPECT_EQ(OpenComponentEditor(nullptr, edit), 1);
        ComponentRecord expected = start;
        ASSERT_EQ(ed.read(typed, expected), 0) << "the inputs of a case must be valid";
        const auto [dialog, reader] =
            std::mismatch(edit.bytes.begin(), edit.bytes.end(), expected.bytes.begin());
        EXPECT_TRUE(dialog == edit.bytes.end())
            << "byte " << dialog - edit.bytes.begin() << ": dialog " << int(*dialog) << ", reader "
            << int(*reader);
        EXPECT_EQ(edit.typeCode(), static_cast<std::uint8_t>(type->code));
        for (const auto& m : messages)
            ADD_FAILURE() << "unexpected message: " << m.second.toStdString();
    }
};

TEST_F(EditorDialogs, MeasuringStoresWhatTheReaderMakesOfTheInputs) {
    // Stored in mode S with a linked second trigger; changed to mode M.
    const ComponentRecord start = Stored(
        ComponentKind::Measuring,
        {Text(ctl::kEntryCondition, "B1"), Text(1013, "P1P2"), Text(1016, "0.5"), Text(1017, "100"),
         Text(1018, "P1"), Text(1019, ">"), Text(1020, "2.5"), Text(1023, "P2"), Text(1024, "\xAB"),
         Text(1025, "1"), Text(ctl::kBranchCondition, "B2"), Text(ctl::kTarget, "5")},
        {1005}, {{2177, 1}, {2179, 3}});
    ExpectSameAsReader(start, {Step::type(ctl::kEntryCondition, "E3"), Step::click(1004),
                               Step::type(1013, "SA3T1"), Step::click(1451), Step::type(1019, "="),
                               Step::type(1020, "12.5"), Step::type(ctl::kBranchCondition, ""),
                               Step::type(ctl::kTarget, "")});
    ExpectSameAsReader(start,
                       {Step::type(1013, "P1, T2"), Step::choose(2179, 5), Step::choose(2177, 2),
                        Step::type(1024, QString::fromUtf8("\u00bb"))});
}

TEST_F(EditorDialogs, TimeInterruptBreakAndSectionStoreWhatTheReaderMakes) {
    const ComponentRecord time =
        Stored(ComponentKind::Time, {Text(ctl::kDescription, "Warten")}, {1161});
    ExpectSameAsReader(time, {Step::click(1160), Step::type(1162, "0000100")});

    const ComponentRecord interrupt =
        Stored(ComponentKind::Interrupt, {Text(1198, "100")}, {1178, 1182, 1190}, {{1202, 0}});
    ExpectSameAsReader(interrupt,
                       {Step::click(1179), Step::click(1185), Step::click(1193), Step::click(1180),
                        Step::type(1200, "30"), Step::choose(1204, 1), Step::type(1198, "250")});

    const ComponentRecord brk =
        Stored(ComponentKind::Break, {Text(1322, "Z1"), Text(1323, "B2")}, {});
    ExpectSameAsReader(brk, {Step::type(1322, "S12"), Step::type(1323, "B7")});

    const ComponentRecord section = Stored(
        ComponentKind::Section, {Text(1322, "Z5"), Text(2278, "Teil A"), Text(1323, "B3")}, {2280});
    ExpectSameAsReader(section,
                       {Step::click(2281), Step::type(2278, QString::fromUtf8("Prüfung ÄÖÜ")),
                        Step::type(1323, "B9")});
}

TEST_F(EditorDialogs, ModuleCommandAndPictureStoreWhatTheReaderMakes) {
    const ComponentRecord module = Stored(ComponentKind::Module, {Text(1206, "MODA")}, {});
    ExpectSameAsReader(module, {Step::type(1206, "MODB")});

    const ComponentRecord command = Stored(
        ComponentKind::Command, {Text(1324, "SAVE -m1 -S1"), Text(1326, "SAVE -irx2 -S2")}, {1057});
    ExpectSameAsReader(
        command, {Step::click(1056), Step::type(1325, "SAVE -m123 -Sxx"), Step::type(1324, "")});

    const ComponentRecord picture = Stored(ComponentKind::Picture,
                                           {Text(1173, "/bilder/logo.bmp"), Text(1174, "10"),
                                            Text(1175, "10"), Text(1176, "50"), Text(1177, "50")},
                                           {1170, 1057});
    ExpectSameAsReader(picture, {Step::click(1171), Step::click(2180), Step::click(2163),
                                 Step::type(1174, "12abc"), Step::type(1176, "90"),
                                 Step::pickFile("/bilder/LOGO.BMP")});
}

TEST_F(EditorDialogs, GenericDialogEditsTheHeadAndKeepsEveryPayloadByte) {
    ComponentRecord logic;
    logic.setTypeCode('B');
    for (std::size_t i = rec::kPayload; i < rec::kRecordSize; i += 7)
        logic.setU8(i, static_cast<std::uint8_t>(i & 0xFF));
    ExpectSameAsReader(
        logic, {Step::type(ctl::kEntryCondition, "B1"), Step::type(ctl::kBranchCondition, "B2"),
                Step::type(ctl::kTarget, "3")});

    // The payload is shown read-only at record offsets, sixteen bytes a line.
    ComponentRecord edit = logic;
    edit.setU8(rec::kPayload, 0xA5);
    WhenShown<ComponentDialog>([](ComponentDialog& d) {
        auto* dump = d.findChild<QPlainTextEdit*>(QStringLiteral("payload"));
        ASSERT_NE(dump, nullptr);
        EXPECT_TRUE(dump->isReadOnly());
        const QStringList lines = dump->toPlainText().split(QLatin1Char('\n'));
        EXPECT_EQ(lines.size(), 45);
        EXPECT_TRUE(lines.first().startsWith(QStringLiteral("088  a5 00 00 00 00 00 00 5f 00")));
        EXPECT_TRUE(lines.last().startsWith(QStringLiteral("792 ")));
    });
    OpenComponentEditor(nullptr, edit);
}

}  // namespace
}  // namespace quelvari::app::test
