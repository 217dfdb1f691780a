// Catalogue lookups, fillers that agree with readers, the generic editors and
// what the view draws.
#include <gtest/gtest.h>

#include <set>

#include "components/catalogue.h"
#include "components/editor.h"
#include "components/editors.h"
#include "components/view.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

ComponentRecord recordOf(char code, std::uint8_t byte88 = 0) {
    ComponentRecord r;
    r.setTypeCode(static_cast<std::uint8_t>(code));
    r.setU8(88, byte88);
    return r;
}

TEST(Catalogue, LookupsPicturesAndDialogs) {
    // Picture and dialog of a type (and of its mark in byte 88); 0 is none.
    const std::tuple<char, std::uint8_t, int, int> rows[] = {
        {'P', 'G', 177, 178}, {'P', 'g', 153, 159}, {'P', 0, 153, 159},  {'x', 0, 156, 0},
        {'i', 'Z', -1, 167},  {'i', 'I', -1, 190},  {'i', 'R', -1, 191}, {'i', 'z', -1, 0}};
    for (const auto& [code, mark, picture, dialog] : rows) {
        if (picture >= 0) {
            EXPECT_EQ(PictureId(recordOf(code, mark)), picture) << code << mark;
        }
        EXPECT_EQ(EditorDialogId(recordOf(code, mark)), dialog) << code << mark;
    }
    EXPECT_EQ(TypeName(recordOf('x')), "unknown");
    EXPECT_EQ(TypeName(recordOf('b')), LangText(166));
    EXPECT_EQ(FindTypeByName("PG")->kind, ComponentKind::GraphicPrint);
    EXPECT_EQ(FindTypeByName("P")->kind, ComponentKind::TextPrint);
    EXPECT_EQ(FindTypeByName("MM"), nullptr);
    // Every row is found by its letter (and mark) and its description id.
    for (const ComponentType& t : kCatalogue) {
        const std::uint8_t mark = t.kind == ComponentKind::GraphicPrint ? 'G' : 0;
        EXPECT_EQ(FindType(static_cast<std::uint8_t>(t.code), mark), &t) << t.key;
        EXPECT_EQ(FindTypeByDescription(t.descriptionId), &t) << t.key;
        EXPECT_EQ(&TypeOf(t.kind), &t) << t.key;
    }
}

TEST(Catalogue, SelectionGroupsHoldEveryTypeOnce) {
    std::multiset<std::uint16_t> ids;
    for (const SelectionGroup& g : SelectionGroups())
        for (const auto& row : g.rows)
            ids.insert(row.begin(), row.end());
    EXPECT_EQ(ids.size(), kComponentTypeCount);
    for (const ComponentType& t : kCatalogue)
        EXPECT_EQ(ids.count(t.descriptionId), 1u) << t.key;
}

TEST(Catalogue, PresetsOfNewRecords) {
    for (const ComponentType& t : kCatalogue) {
        ComponentRecord r = recordOf('Q', 9);
        PresetNewRecord(r, t);
        const bool flag = t.kind == ComponentKind::Bargraph || t.kind == ComponentKind::Display ||
                          t.kind == ComponentKind::Graphic ||
                          t.kind == ComponentKind::InputOutput || t.kind == ComponentKind::Picture;
        EXPECT_EQ(r.u8(88), flag ? 1 : 0) << t.key;
        EXPECT_EQ(r.u8(90), t.kind == ComponentKind::Picture ? 'D' : 0) << t.key;
        EXPECT_EQ(r.u8(217), t.kind == ComponentKind::ReadDatabase ? 1 : 0) << t.key;
        EXPECT_EQ(r.typeCode(), 0) << t.key;
    }
}

// A record made by a reader comes back unchanged through filler and reader.
TEST(Fillers, AgreeWithReaders) {
    struct Case {
        char code;
        std::vector<std::pair<std::uint32_t, std::string>> texts;
        std::vector<std::uint32_t> checks;
        std::vector<std::pair<std::uint32_t, int>> combos;
    };
    const Case cases[] = {
        {'Z', {{1014, "E3"}, {1015, "Warten"}, {1162, "250"}}, {1160}, {}},
        {'Z', {{1021, "B2"}, {1022, "4"}}, {1161}, {}},
        {'I', {{1198, "100"}, {1201, "7"}}, {1178, 1182, 1190, 1181, 1189}, {{1202, 0}, {1205, 1}}},
        {'u', {{1322, "S4"}, {1323, "B9"}, {1021, "Z1<Z2"}, {1022, "3"}}, {}, {}},
        {'C', {{1322, "Z4"}, {2278, "Abschnitt 1"}, {1323, "B2"}}, {2280}, {}},
        {'C', {{2278, "Ende"}, {1323, "B2"}}, {2282}, {}},
        {'D', {{1324, "SAVE -m1 -S2"}, {1327, "x"}}, {1057}, {}},
        {'p', {{1173, "c:\\a.jpg"}, {1174, "5"}, {1176, "50"}, {1177, "40"}}, {1171, 2180}, {}},
        {'M', {{1013, "P1SA3"}, {1018, "T2"}, {1019, "="}, {1020, "12.5"}}, {1004, 1451}, {}},
        {'M',
         {{1013, "<S5>"},
          {1016, "0.125"},
          {1017, "1000"},
          {1018, "P1"},
          {1019, "\xBB"},
          {1020, "-2.25"},
          {1023, "P2"},
          {1024, "<"},
          {1025, "100.5"}},
         {1005},
         {{2177, 3}, {2179, 5}}},
        {'M', {}, {1006, 2155}, {}},
    };
    for (const Case& c : cases) {
        const Editor& ed = EditorOf(*FindType(static_cast<std::uint8_t>(c.code)));
        MapForm f;
        for (const auto& [id, text] : c.texts)
            f.setText(id, text);
        for (std::uint32_t id : c.checks)
            f.setChecked(id, true);
        for (const auto& [id, index] : c.combos)
            f.setCurrentIndex(id, index);
        ComponentRecord first;
        ASSERT_EQ(ed.read(f, first), 0) << c.code;
        MapForm again;
        ed.fill(first, again);
        ComponentRecord second = first;
        ASSERT_EQ(ed.read(again, second), 0) << c.code;
        EXPECT_EQ(first, second) << c.code;
    }
}

TEST(Fillers, MeasuringModeStates) {
    ComponentRecord r;
    r.setU8(88, 'S');
    r.setU8(184, 1);
    r.setU8(164, 100);
    MapForm f;
    FillMeasuring(r, f);
    EXPECT_TRUE(f.checked(1005));
    EXPECT_EQ(f.currentIndex(2179), 10);
    EXPECT_EQ(f.items(2177), (std::vector<std::string>{LangText(3160), LangText(3161),
                                                       LangText(3162), LangText(3163)}));
    EXPECT_EQ(f.items(2179).front(), "    0%");
    struct Row {
        int mode;
        std::uint8_t link;
        bool list, scan, trigger, save, link2, second, variant;
    };
    const Row rows[] = {
        {0, 0, true, false, true, true, false, false, false},
        {1, 0, true, true, true, false, true, false, false},
        {1, 2, true, true, true, false, true, true, false},
        {2, 2, false, false, false, false, false, false, true},
    };
    for (const Row& row : rows) {
        MapForm m;
        ApplyMeasuringMode(m, row.mode, row.link);
        EXPECT_TRUE(m.checked(1004 + static_cast<std::uint32_t>(row.mode)));
        EXPECT_EQ(m.enabled(1013), row.list) << row.mode;
        for (std::uint32_t id : {1016u, 1017u, 2179u})
            EXPECT_EQ(m.enabled(id), row.scan) << row.mode << " " << id;
        for (std::uint32_t id : {1018u, 1019u, 1020u})
            EXPECT_EQ(m.enabled(id), row.trigger) << row.mode;
        for (std::uint32_t id : {2025u, 1451u, 1452u})
            EXPECT_EQ(m.enabled(id), row.save) << row.mode;
        EXPECT_EQ(m.enabled(2177), row.link2) << row.mode;
        for (std::uint32_t id : {1023u, 1024u, 1025u})
            EXPECT_EQ(m.enabled(id), row.second) << row.mode;
        EXPECT_EQ(m.visible(2155), row.variant);
        EXPECT_EQ(m.visible(2156), row.variant);
    }
    // An unknown mode is shown as M; a stored "ja" checks 1057.
    r.setU8(88, 'X');
    FillMeasuring(r, f);
    EXPECT_TRUE(f.checked(1004));
    ComponentRecord d;
    d.setU8(88, 1);
    FillCommand(d, f);
    EXPECT_TRUE(f.checked(1057));
    EXPECT_FALSE(f.checked(1056));
}

TEST(Fillers, PictureMediumShowsItsControls) {
    MapForm f;
    ComponentRecord r;
    r.setU8(90, 'P');
    r.setU8(93, 1);
    FillPicture(r, f);
    EXPECT_TRUE(f.visible(2163));
    EXPECT_FALSE(f.visible(1175));  // line position in use
    EXPECT_EQ(f.fullText(2006), LangText(3089));
    ApplyPictureMedium(f, true);
    EXPECT_FALSE(f.visible(2163));
    EXPECT_FALSE(f.visible(2180));
    EXPECT_FALSE(f.checked(2180));
    EXPECT_TRUE(f.visible(1175));
    EXPECT_EQ(f.fullText(2006), LangText(3048));
}

TEST(GenericEditors, KeepThePayloadByteForByte) {
    int generic = 0;
    for (const ComponentType& t : kCatalogue) {
        if (EditorOf(t).fill != FillGeneric)
            continue;  // the types with editors of their own
        ++generic;
        ComponentRecord r;
        for (std::size_t i = 84; i < 800; ++i)
            r.bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
        if (t.kind == ComponentKind::GraphicPrint)
            r.setU8(88, 'G');
        else if (t.kind == ComponentKind::TextPrint)
            r.setU8(88, 'T');
        r.setTypeCode(static_cast<std::uint8_t>(t.code));
        storeInputCondition(r, "E1");
        storeComment(r, std::string(50, 'k'));  // the longest description
        storeBranchCondition(r, "B1");
        r.setGotoTarget(2);
        MapForm f;
        EditorOf(t).fill(r, f);
        ComponentRecord out = r;
        ASSERT_EQ(EditorOf(t).read(f, out), 0) << t.key;
        EXPECT_EQ(out, r) << t.key;
        // A faulty head field is reported with the generic field numbers.
        f.setText(1021, "");
        EXPECT_EQ(EditorOf(t).read(f, out), 0x0403) << t.key;
    }
    EXPECT_EQ(generic, 19);
}

}  // namespace
}  // namespace quelvari
