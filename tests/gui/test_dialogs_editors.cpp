// Each editor dialog, driven through its widgets, stores exactly what the
// core's reader makes of the same inputs, and opens showing what the core's
// filler shows.
#include <QLineEdit>
#include <QPlainTextEdit>

#include "app/components/component_dialogs.h"
#include "components/catalogue.h"
#include "components/editors.h"
#include "dialog_driver.h"

namespace quelvari::app::test {
namespace {

const ControlSpec* SpecOf(const Editor& e, std::uint32_t id) {
    for (const ControlSpec& s : e.controls)
        if (s.id == id)
            return &s;
    return nullptr;
}

void ApplyToMap(MapForm& f, const Editor& e, const std::vector<Step>& steps) {
    for (const Step& s : steps) {
        switch (s.kind) {
            case Step::TypeText:
                f.setText(s.id, ToCp1252(s.text).value());
                break;
            case Step::ChooseItem:
                f.setCurrentIndex(s.id, s.index);
                break;
            case Step::PickFile:
                ChoosePictureFile(f, ToCp1252(s.text).value());
                break;
            case Step::ClickButton: {
                const ControlSpec* spec = SpecOf(e, s.id);
                ASSERT_NE(spec, nullptr) << s.id;
                if (spec->kind == ControlKind::Check) {
                    f.setChecked(s.id, !f.checked(s.id));
                    break;
                }
                for (const ControlSpec& other : e.controls)
                    if (other.kind == ControlKind::Radio && other.group == spec->group)
                        f.setChecked(other.id, other.id == s.id);
                break;
            }
        }
    }
}

int FirstDifference(const ComponentRecord& a, const ComponentRecord& b) {
    for (std::size_t i = 0; i < a.bytes.size(); ++i)
        if (a.bytes[i] != b.bytes[i])
            return static_cast<int>(i);
    return -1;
}

// A record as the core reader stores it from the settings in `set`.
ComponentRecord Stored(ComponentKind kind, const std::function<void(MapForm&)>& set) {
    MapForm f;
    set(f);
    ComponentRecord r;
    EXPECT_EQ(EditorOf(TypeOf(kind)).read(f, r), 0);
    return r;
}

class EditorDialogs : public DialogTest {
  protected:
    void ApplyToWidgets(ComponentDialog& d, const std::vector<Step>& steps) {
        for (const Step& s : steps) {
            switch (s.kind) {
                case Step::TypeText:
                    Type(d, s.id, s.text);
                    break;
                case Step::ClickButton:
                    Click(d, s.id);
                    break;
                case Step::ChooseItem:
                    Choose(d, s.id, s.index);
                    break;
                case Step::PickFile:
                    nextFile = s.text;
                    Click(d, 1172);
                    break;
            }
        }
    }

    // The dialog shows what the filler shows: texts, checks, selections,
    // enabling and visibility of every control the reader reads.
    static void ExpectShows(ComponentDialog& d, const Editor& e, const MapForm& shown) {
        for (const ControlSpec& s : e.controls) {
            SCOPED_TRACE(s.name);
            QWidget* w = d.form().widget(s.id);
            ASSERT_NE(w, nullptr);
            if (s.kind == ControlKind::Text)
                EXPECT_EQ(d.form().text(s.id, 1000), shown.text(s.id, 1000));
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

    void ExpectSameAsReader(const ComponentRecord& start, const std::vector<Step>& steps,
                            int line = 0) {
        SCOPED_TRACE(line);
        const ComponentType* type = FindType(start);
        ASSERT_NE(type, nullptr);
        const Editor& ed = EditorOf(*type);
        MapForm shown;
        ed.fill(start, shown);
        MapForm typed = shown;
        ApplyToMap(typed, ed, steps);
        ComponentRecord expected = start;
        ASSERT_EQ(ed.read(typed, expected), 0) << "the inputs of a case must be valid";

        ComponentRecord edit = start;
        WhenShown<ComponentDialog>([&](ComponentDialog& d) {
            ExpectShows(d, ed, shown);
            ApplyToWidgets(d, steps);
            Click(d, ctl::kOk);
        });
        EXPECT_EQ(OpenComponentEditor(nullptr, edit), 1);
        const int diff = FirstDifference(edit, expected);
        EXPECT_EQ(diff, -1) << "dialog " << int(edit.bytes[std::size_t(diff < 0 ? 0 : diff)])
                            << ", reader " << int(expected.bytes[std::size_t(diff < 0 ? 0 : diff)]);
        EXPECT_EQ(edit.typeCode(), static_cast<std::uint8_t>(type->code));
        for (const auto& m : messages)
            ADD_FAILURE() << "unexpected message: " << m.second.toStdString();
    }
};

TEST_F(EditorDialogs, MeasuringStoresWhatTheReaderMakesOfTheInputs) {
    // Stored in mode S with a linked second trigger; changed to mode M.
    const ComponentRecord start = Stored(ComponentKind::Measuring, [](MapForm& f) {
        f.setText(ctl::kEntryCondition, "B1");
        f.setChecked(1005, true);
        f.setText(1013, "P1P2");
        f.setText(1016, "0.5");
        f.setText(1017, "100");
        f.setText(1018, "P1");
        f.setText(1019, ">");
        f.setText(1020, "2.5");
        f.setCurrentIndex(2177, 1);
        f.setText(1023, "P2");
        f.setText(1024, "\xAB");
        f.setText(1025, "1");
        f.setCurrentIndex(2179, 3);
        f.setText(ctl::kBranchCondition, "B2");
        f.setText(ctl::kTarget, "5");
    });
    ExpectSameAsReader(start, {{Step::TypeText, 1013, "P1, T2"},
                               {Step::ChooseItem, 2179, {}, 5},
                               {Step::ChooseItem, 2177, {}, 2},
                               {Step::TypeText, 1024, QString::fromUtf8("»")}});
    ExpectSameAsReader(start, {{Step::TypeText, ctl::kEntryCondition, "E3"},
                               {Step::ClickButton, 1004},
                               {Step::TypeText, 1013, "SA3T1"},
                               {Step::ClickButton, 1451},
                               {Step::TypeText, 1019, "="},
                               {Step::TypeText, 1020, "12.5"},
                               {Step::TypeText, ctl::kBranchCondition, ""},
                               {Step::TypeText, ctl::kTarget, ""}});
    ExpectSameAsReader(start, {{Step::ClickButton, 1006}, {Step::ClickButton, 2155}}, __LINE__);
}

TEST_F(EditorDialogs, TimeInterruptBreakAndSectionStoreWhatTheReaderMakes) {
    const ComponentRecord time = Stored(ComponentKind::Time, [](MapForm& f) {
        f.setChecked(1161, true);
        f.setText(ctl::kDescription, "Warten");
    });
    ExpectSameAsReader(time, {{Step::ClickButton, 1160}, {Step::TypeText, 1162, "0000100"}},
                       __LINE__);

    const ComponentRecord interrupt = Stored(ComponentKind::Interrupt, [](MapForm& f) {
        f.setChecked(1178, true);
        f.setChecked(1182, true);
        f.setChecked(1190, true);
        f.setCurrentIndex(1202, 0);
        f.setText(1198, "100");
    });
    ExpectSameAsReader(interrupt, {{Step::ClickButton, 1179},
                                   {Step::ClickButton, 1185},
                                   {Step::ClickButton, 1193},
                                   {Step::ClickButton, 1180},
                                   {Step::TypeText, 1200, "30"},
                                   {Step::ChooseItem, 1204, {}, 1},
                                   {Step::TypeText, 1198, "250"}});

    const ComponentRecord brk = Stored(ComponentKind::Break, [](MapForm& f) {
        f.setText(1322, "Z1");
        f.setText(1323, "B2");
    });
    ExpectSameAsReader(brk, {{Step::TypeText, 1322, "S12"}, {Step::TypeText, 1323, "B7"}},
                       __LINE__);

    const ComponentRecord section = Stored(ComponentKind::Section, [](MapForm& f) {
        f.setChecked(2280, true);
        f.setText(1322, "Z5");
        f.setText(2278, "Teil A");
        f.setText(1323, "B3");
    });
    ExpectSameAsReader(section, {{Step::ClickButton, 2281},
                                 {Step::TypeText, 2278, QString::fromUtf8("Prüfung ÄÖÜ")},
                                 {Step::TypeText, 1323, "B9"}});
}

TEST_F(EditorDialogs, ModuleCommandAndPictureStoreWhatTheReaderMakes) {
    const ComponentRecord module =
        Stored(ComponentKind::Module, [](MapForm& f) { f.setText(1206, "MODA"); });
    ExpectSameAsReader(module, {{Step::TypeText, 1206, "MODB"}}, __LINE__);

    const ComponentRecord command = Stored(ComponentKind::Command, [](MapForm& f) {
        f.setChecked(1057, true);
        f.setText(1324, "SAVE -m1 -S1");
        f.setText(1326, "SAVE -irx2 -S2");
    });
    ExpectSameAsReader(command, {{Step::ClickButton, 1056},
                                 {Step::TypeText, 1325, "SAVE -m123 -Sxx"},
                                 {Step::TypeText, 1324, ""}});

    const ComponentRecord picture = Stored(ComponentKind::Picture, [](MapForm& f) {
        f.setText(1173, "/bilder/logo.bmp");
        f.setChecked(1170, true);
        f.setChecked(1057, true);
        f.setText(1174, "10");
        f.setText(1175, "10");
        f.setText(1176, "50");
        f.setText(1177, "50");
    });
    ExpectSameAsReader(picture, {{Step::ClickButton, 1171},
                                 {Step::ClickButton, 2180},
                                 {Step::ClickButton, 2163},
                                 {Step::TypeText, 1174, "12abc"},
                                 {Step::TypeText, 1176, "90"},
                                 {Step::PickFile, 1172, "/bilder/LOGO.BMP"}});
    ExpectSameAsReader(picture, {{Step::PickFile, 1172, "/bilder/foto.jpg"},
                                 {Step::ClickButton, 1056},
                                 {Step::TypeText, 1177, "45"}});
}

TEST_F(EditorDialogs, GenericDialogEditsTheHeadAndKeepsEveryPayloadByte) {
    ComponentRecord logic;
    logic.setTypeCode('B');
    for (std::size_t i = rec::kPayload; i < rec::kRecordSize; i += 7)
        logic.setU8(i, static_cast<std::uint8_t>(i & 0xFF));
    ExpectSameAsReader(logic, {{Step::TypeText, ctl::kEntryCondition, "B1"},
                               {Step::TypeText, ctl::kBranchCondition, "B2"},
                               {Step::TypeText, ctl::kTarget, "3"}});

    // The payload is shown read-only at record offsets, sixteen bytes a line.
    ComponentRecord edit = logic;
    edit.setU8(rec::kPayload, 0xA5);
    WhenShown<ComponentDialog>([](ComponentDialog& d) {
        EXPECT_EQ(d.windowTitle(), QStringLiteral("Logikbaustein"));
        auto* dump = d.findChild<QPlainTextEdit*>(QStringLiteral("payload"));
        ASSERT_NE(dump, nullptr);
        EXPECT_TRUE(dump->isReadOnly());
        const QStringList lines = dump->toPlainText().split(QLatin1Char('\n'));
        EXPECT_EQ(lines.size(), 45);
        EXPECT_TRUE(lines.first().startsWith(QStringLiteral("088  a5 00 00 00 00 00 00 5f 00")))
            << lines.first().toStdString();
        EXPECT_TRUE(lines.last().startsWith(QStringLiteral("792 "))) << lines.last().toStdString();
        Type(d, ctl::kDescription, "neu");
        Click(d, ctl::kOk);
    });
    EXPECT_EQ(OpenComponentEditor(nullptr, edit), 1);
    EXPECT_EQ(edit.comment(), "neu");
    EXPECT_EQ(edit.u8(rec::kPayload), 0xA5);
    EXPECT_EQ(edit.u8(rec::kPayload + 7), rec::kPayload + 7);
}

}  // namespace
}  // namespace quelvari::app::test
