// Components: the catalogue, the OK readers of the editors (field checks,
// field numbers and the bytes they store), the condition check of entry and
// branch conditions, fillers that agree with readers, and the generic editors.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <vector>

#include "check_builders.h"
#include "components/catalogue.h"
#include "components/condition.h"
#include "components/editor.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "test_util.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::test {
namespace {

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

int readAs(char code, const std::vector<std::string>& controls, ComponentRecord& r) {
    MapForm f = formOf(controls);
    return EditorOf(*FindType(static_cast<std::uint8_t>(code))).read(f, r);
}

int readAs(char code, const std::vector<std::string>& controls) {
    ComponentRecord r;
    return readAs(code, controls, r);
}

// What reading `controls` as `code` stores into `r` (as a dialog reads into
// the record it edits).
ComponentRecord stored(char code, const std::vector<std::string>& controls,
                       ComponentRecord r = {}) {
    EXPECT_EQ(readAs(code, controls, r), 0) << code;
    return r;
}

struct FieldCase {
    const char* what;
    std::vector<std::string> controls;
    int code;
};

void expectCodes(char type, const std::vector<std::string>& base,
                 const std::vector<FieldCase>& cases) {
    for (const FieldCase& c : cases) {
        const int got = readAs(type, base + c.controls);
        EXPECT_EQ(got, c.code) << type << ": " << c.what << " gave 0x" << std::hex << got;
    }
}

TEST(Catalogue, LookupsPicturesDialogsGroupsAndPresets) {
    // Picture and dialog of a type (and of its mark in byte 88); 0 is none.
    const std::tuple<char, std::uint8_t, int, int> rows[] = {
        {'P', 'G', 177, 178}, {'P', 'g', 153, 159}, {'P', 0, 153, 159},  {'x', 0, 156, 0},
        {'i', 'Z', -1, 167},  {'i', 'I', -1, 190},  {'i', 'R', -1, 191}, {'i', 'z', -1, 0}};
    for (const auto& [code, mark, picture, dialog] : rows) {
        if (picture >= 0) {
            EXPECT_EQ(PictureId(typed(code, mark)), picture) << code << mark;
        }
        EXPECT_EQ(EditorDialogId(typed(code, mark)), dialog) << code << mark;
    }
    EXPECT_EQ(TypeName(typed('x')), "unknown");
    EXPECT_EQ(TypeName(typed('b')), LangText(166));
    EXPECT_EQ(FindTypeByName("PG")->kind, ComponentKind::GraphicPrint);
    EXPECT_EQ(FindTypeByName("P")->kind, ComponentKind::TextPrint);
    EXPECT_EQ(FindTypeByName("MM"), nullptr);
    // Every row is found by its letter (and mark) and its description id, and
    // is in the selection groups once; a new record gets the type's presets.
    std::multiset<std::uint16_t> ids;
    for (const SelectionGroup& g : SelectionGroups())
        for (const auto& row : g.rows)
            ids.insert(row.begin(), row.end());
    EXPECT_EQ(ids.size(), kComponentTypeCount);
    using K = ComponentKind;
    const std::set<K> flagged = {K::Bargraph, K::Display, K::Graphic, K::InputOutput, K::Picture};
    for (const ComponentType& t : kCatalogue) {
        const std::uint8_t mark = t.kind == K::GraphicPrint ? 'G' : 0;
        EXPECT_EQ(FindType(static_cast<std::uint8_t>(t.code), mark), &t) << t.key;
        EXPECT_EQ(FindTypeByDescription(t.descriptionId), &t) << t.key;
        EXPECT_EQ(&TypeOf(t.kind), &t) << t.key;
        EXPECT_EQ(ids.count(t.descriptionId), 1u) << t.key;
        ComponentRecord r = typed('Q', 9);
        PresetNewRecord(r, t);
        EXPECT_EQ(r.u8(88), flagged.count(t.kind)) << t.key;
        EXPECT_EQ(r.u8(90), t.kind == K::Picture ? 'D' : 0) << t.key;
        EXPECT_EQ(r.u8(217), t.kind == K::ReadDatabase ? 1 : 0) << t.key;
        EXPECT_EQ(r.typeCode(), 0) << t.key;
    }
}

// A record made by a reader comes back unchanged through filler and reader.
TEST(Fillers, AgreeWithReaders) {
    const std::pair<char, std::vector<std::string>> cases[] = {
        {'Z', {"1014=E3", "1015=Warten", "1162=250", "+1160"}},
        {'Z', {"1021=B2", "1022=4", "+1161"}},
        {'I',
         {"1198=100", "1201=7", "+1178", "+1182", "+1190", "+1181", "+1189", "#1202=0", "#1205=1"}},
        {'u', {"1322=S4", "1323=B9", "1021=Z1<Z2", "1022=3"}},
        {'C', {"1322=Z4", "2278=Abschnitt 1", "1323=B2", "+2280"}},
        {'C', {"2278=Ende", "1323=B2", "+2282"}},
        {'D', {"1324=SAVE -m1 -S2", "1327=x", "+1057"}},
        {'p', {"1173=c:\\a.jpg", "1174=5", "1176=50", "1177=40", "+1171", "+2180"}},
        {'M', {"1013=P1SA3", "1018=T2", "1019==", "1020=12.5", "+1004", "+1451"}},
        {'M',
         {"1013=<S5>", "1016=0.125", "1017=1000", "1018=P1", "1019=\xBB", "1020=-2.25", "1023=P2",
          "1024=<", "1025=100.5", "+1005", "#2177=3", "#2179=5"}},
        {'M', {"+1006", "+2155"}},
    };
    for (const auto& [code, controls] : cases) {
        const Editor& ed = EditorOf(*FindType(static_cast<std::uint8_t>(code)));
        const ComponentRecord first = stored(code, controls);
        MapForm again;
        ed.fill(first, again);
        ComponentRecord second = first;
        ASSERT_EQ(ed.read(again, second), 0) << code;
        EXPECT_EQ(first, second) << code;
    }
}

TEST(Fillers, MeasuringModesAndPictureMediaShowTheirControls) {
    // Mode S, trigger link 1, pretrigger 100.
    ComponentRecord r = withBytes(withBytes(typed(0, 'S'), 184, {1}), 164, {100});
    MapForm f;
    FillMeasuring(r, f);
    EXPECT_TRUE(f.checked(1005));
    EXPECT_EQ(f.currentIndex(2179), 10);
    EXPECT_EQ(f.items(2177), (std::vector<std::string>{LangText(3160), LangText(3161),
                                                       LangText(3162), LangText(3163)}));
    EXPECT_EQ(f.items(2179).front(), "    0%");
    // By mode and link, which controls are enabled: the list, scan rate (3),
    // trigger (3), saving (3), link, second trigger (3); then whether the
    // transfer variants 2155 and 2156 are shown.
    const std::uint32_t ids[] = {1013, 1016, 1017, 2179, 1018, 1019, 1020,
                                 2025, 1451, 1452, 2177, 1023, 1024, 1025};
    const std::tuple<int, std::uint8_t, std::string> rows[] = {
        {0, 0, "1 000 111 111 0 000 00"},
        {1, 0, "1 111 111 000 1 000 00"},
        {1, 2, "1 111 111 000 1 111 00"},
        {2, 2, "0 000 000 000 0 000 11"},
    };
    for (auto [mode, link, want] : rows) {
        MapForm m;
        ApplyMeasuringMode(m, mode, link);
        EXPECT_TRUE(m.checked(1004 + static_cast<std::uint32_t>(mode)));
        std::string got;
        for (std::uint32_t id : ids)
            got += m.enabled(id) ? '1' : '0';
        for (std::uint32_t id : {2155u, 2156u})
            got += m.visible(id) ? '1' : '0';
        std::erase(want, ' ');
        EXPECT_EQ(got, want) << mode << "/" << int(link);
    }
    // An unknown mode is shown as M; a stored "ja" checks 1057.
    r.setU8(88, 'X');
    FillMeasuring(r, f);
    EXPECT_TRUE(f.checked(1004));
    FillCommand(typed(0, 1), f);
    EXPECT_TRUE(f.checked(1057));
    EXPECT_FALSE(f.checked(1056));
    // A picture on the printer shows its options; the screen hides them: 2163
    // and 2180 shown, 2180 checked, the line position 1175 shown, label 2006.
    MapForm p;
    auto controls = [&] {
        return std::tuple(p.visible(2163), p.visible(2180), p.checked(2180), p.visible(1175),
                          p.fullText(2006));
    };
    FillPicture(withBytes({}, 90, {'P', 0, 0, 1}), p);
    EXPECT_EQ(controls(), std::tuple(true, true, true, false, LangText(3089)));
    ApplyPictureMedium(p, true);
    EXPECT_EQ(controls(), std::tuple(false, false, false, true, LangText(3048)));
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

TEST(ComponentReaders, HeadAndBranchFieldsWithEachTypesFieldNumbers) {
    // A valid form of each type (and mode), and the field number of its
    // branch condition.
    const std::tuple<char, std::vector<std::string>, int> types[] = {
        {'Z', {"+1160", "1162=100"}, 4},
        {'Z', {"+1161"}, 3},
        {'I', {"+1178", "+1183"}, 7},
        {'u', {"1322=Z1", "1323=B1"}, 5},
        {'C', {"+2281", "2278=Name", "1323=B1"}, 5},
        {'U', {"1206=MODUL"}, 4},
        {'D', {"1324=SAVE"}, 4},
        {'p', {"1173=a.bmp", "+1170", "1176=10", "1177=10"}, 4},
        {'M', {"+1006"}, 3},
        {'M', {"+1004", "1013=P1"}, 9},
        {'M', {"+1004", "1013=P1", "#2177=2"}, 12},
        {'M', {"+1005", "1013=P1", "1016=1", "1017=10"}, 11},
        {'M', {"+1005", "1013=P1", "1016=1", "1017=10", "#2177=1"}, 14},
        {'B', {}, 3},
        {'i', {}, 3},
    };
    for (const auto& [type, base, f] : types) {
        expectCodes(type, base,
                    {
                        {"valid", {}, 0},
                        {"entry condition", {"1014=Z0"}, ErrorCode(11, 1)},
                        {"entry 21 characters", {"1014=Z1=12345678901234567X"}, ErrorCode(54, 1)},
                        {"entry 20 characters", {"1014=Z1=12345678901234567"}, 0},
                        {"branch condition", {"1021=Z1==2", "1022=3"}, ErrorCode(26, f)},
                        {"branch without target", {"1021=B3", "1022=0"}, ErrorCode(3, f + 1)},
                        {"branch, target unreadable", {"1021=B3", "1022=x"}, ErrorCode(3, f + 1)},
                        {"target without branch", {"1022=7"}, ErrorCode(4, f)},
                        {"large target without branch", {"1022=70000"}, ErrorCode(4, f)},
                        {"empty branch, target 0", {"1022=0"}, 0},
                        {"branch and target", {"1021=B3", "1022=2"}, 0},
                    });
    }
}

TEST(ComponentReaders, ErrorFieldControlFollowsTheRead) {
    // The control a fault focuses; size errors of a picture focus nothing.
    const std::tuple<char, std::vector<std::string>, int, std::uint32_t> cases[] = {
        {'u', {"1322=Q1"}, ErrorCode(49, 3), 1322},
        {'u', {"1322=Z1", "1323=B1"}, 0, 0},
        {'p', {"1173=a.bmp", "+1170", "1176=4", "1177=10"}, 0x3D00, 0},
        {'p', {"+1170"}, 0x3C00, 1173},
    };
    for (const auto& [code, controls, error, control] : cases) {
        MapForm f = formOf(controls);
        ComponentRecord r;
        EXPECT_EQ(EditorOf(*FindType(static_cast<std::uint8_t>(code))).read(f, r), error);
        EXPECT_EQ(f.errorFieldControl, control) << code << error;
    }
}

TEST(TimeReader, FactorLimitsAndStoredBytes) {
    expectCodes('Z', {"+1160"},
                {
                    {"60000", {"1162=60000"}, 0},
                    {"1", {"1162=1"}, 0},
                    {"60001", {"1162=60001"}, ErrorCode(2, 3)},
                    {"0", {"1162=0"}, ErrorCode(2, 3)},
                    {"empty", {}, ErrorCode(2, 3)},
                    {"12a", {"1162=12a"}, ErrorCode(1, 3)},
                    {"seventh character ignored", {"1162=000010x"}, 0},
                    {"blank", {"1162= 1"}, ErrorCode(1, 3)},
                });
    ComponentRecord r = stored('Z', {"+1160", "1162=0000100"});
    EXPECT_EQ(bytesAt(r, 88, 4), (ByteRow{'Z', 0, 10, 0}));
    r = stored('Z', {"+1161", "1162=99"}, r);
    EXPECT_EQ(bytesAt(r, 88, 4), (ByteRow{'T', 0, 0, 0}));
}

TEST(InterruptReader, RoutinesAndTimes) {
    expectCodes(
        'I', {},
        {
            {"none checked", {"+1182"}, ErrorCode(14, 0)},
            {"disabled needs no time", {"+1179", "+1185"}, 0},
            {"own ms 50", {"+1180", "+1186", "+1194", "#1204=0", "1200=50"}, 0},
            {"own ms 49", {"+1180", "+1186", "+1194", "#1204=0", "1200=49"}, ErrorCode(28, 5)},
            {"external ms 49", {"+1180", "+1186", "#1204=0", "1200=49"}, 0},
            {"seconds 60", {"+1181", "+1188", "#1205=1", "1201=60"}, 0},
            {"seconds 61", {"+1181", "+1188", "#1205=1", "1201=61"}, ErrorCode(28, 6)},
            {"time 0", {"+1178", "+1182", "#1202=0", "1198=0"}, ErrorCode(28, 3)},
            {"no time base, 49", {"+1178", "+1182", "+1190", "1198=49"}, 0},
        });
    const ComponentRecord r = stored('I', {"+1179", "+1184", "+1192", "#1203=1", "1199=30", "+1181",
                                           "+1189", "+1197", "1201=5"});
    // Routine 1 enabled (B, time base 1, 30), routine 3 disabled (C); 0 and 2 unused.
    EXPECT_EQ(bytesAt(r, 88, 32), (ByteRow{0, 0, 0, 0, 0, 0, 0, 0, 1, 'B', 1,    0, 0, 0, 30, 0,
                                           0, 0, 0, 0, 0, 0, 0, 0, 2, 'C', 0xFF, 0, 0, 0, 0,  0}));
}

TEST(BreakAndSectionReaders, VariablesAndNames) {
    expectCodes('u', {},
                {
                    {"valid S255", {"1322=S255", "1323=B255"}, 0},
                    {"reference empty", {"1323=B1"}, ErrorCode(14, 3)},
                    {"reference letter", {"1322=B1", "1323=B1"}, ErrorCode(49, 3)},
                    {"reference 0", {"1322=Z0", "1323=B1"}, ErrorCode(49, 3)},
                    {"reference 256", {"1322=Z256", "1323=B1"}, ErrorCode(49, 3)},
                    {"registration Z5", {"1322=Z1", "1323=Z5"}, ErrorCode(50, 4)},
                    {"registration empty", {"1322=Z1"}, ErrorCode(50, 4)},
                    {"registration B0", {"1322=Z1", "1323=B0"}, ErrorCode(50, 4)},
                    {"registration B256", {"1322=Z1", "1323=B256"}, ErrorCode(50, 4)},
                });
    const std::string name40(40, 'n');
    expectCodes('C', {"1323=B1"},
                {
                    {"first", {"+2280", "1322=S9", "2278=A"}, 0},
                    {"first, no reference", {"+2280", "2278=A"}, ErrorCode(14, 3)},
                    {"first, reference B1", {"+2280", "1322=B1", "2278=A"}, ErrorCode(49, 3)},
                    {"middle ignores reference", {"+2281", "1322=xx", "2278=A"}, 0},
                    {"name 40", {"+2282", "2278=" + name40}, 0},
                    {"name 41", {"+2282", "2278=" + name40 + "n"}, ErrorCode(114, 4)},
                    {"name empty", {"+2282"}, ErrorCode(114, 4)},
                });
    expectCodes('C', {"+2282", "2278=A"},
                {
                    {"ident empty", {}, ErrorCode(14, 5)},
                    {"ident Z5", {"1323=Z5"}, ErrorCode(32, 5)},
                    {"ident B0", {"1323=B0"}, ErrorCode(5, 5)},
                    {"ident B256", {"1323=B256"}, ErrorCode(5, 5)},
                });
    ComponentRecord r = stored('u', {"1322=S12", "1323=B7"});
    EXPECT_EQ(bytesAt(r, 88, 5), (ByteRow{'S', 12, 0, 'B', 7}));
    r = stored('C', {"+2281", "1322=Z3", "2278=Abschnitt", "1323=B4"}, r);
    EXPECT_EQ(bytesAt(r, 88, 2), (ByteRow{1, 0}));  // no reference for a middle section
    EXPECT_EQ(r.text(92, 41), "Abschnitt");
    EXPECT_EQ(bytesAt(r, 136, 2), (ByteRow{'B', 4}));
    r = stored('C', {"+2280", "1322=Z3", "2278=X", "1323=B4"}, r);
    EXPECT_EQ(bytesAt(r, 88, 3), (ByteRow{0, 'Z', 3}));
}

TEST(ModuleReader, NamesAndTheFileNameTest) {
    TempDir dir;
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    const std::string name30(30, 'm');
    const std::string refused[] = {"a<b",  "a>b",  "a:b",  "a\"b",    "a/b",    "a\\b",
                                   "a|b",  "a?b",  "a*b",  "a\tb",    "name ",  "name.",
                                   "CON",  "con",  "Prn",  "AUX",     "NUL",    "COM1",
                                   "com9", "LPT1", "LPT9", "nul.txt", "CON .x", name30 + "m"};
    for (const std::string& n : refused)
        EXPECT_EQ(readAs('U', {"1206=" + n}), ErrorCode(45, 3)) << n;
    for (const std::string n :
         {"COM0", "LPT10", "CONSOLE", "a.b", "M 1", "Pumpe_ä", name30.c_str()})
        EXPECT_EQ(readAs('U', {"1206=" + n}), 0) << n;
    EXPECT_EQ(readAs('U', {}), ErrorCode(14, 3));
    // A file that already exists under the test name stays as it is.
    writeBytes(dir.file("keep.pa$"), {1, 2, 3});
    EXPECT_EQ(readAs('U', {"1206=keep"}), 0);
    EXPECT_EQ(readBytes(dir.file("keep.pa$")), (std::vector<std::uint8_t>{1, 2, 3}));
    std::filesystem::remove(dir.file("keep.pa$"));
    // No test file is left behind.
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    const ComponentRecord r = stored('U', {"1206=" + name30});
    EXPECT_EQ(r.text(88, 31), name30);
    EXPECT_EQ(r.u8(118), 0);
    std::filesystem::current_path(old);
}

TEST(CommandReader, LinesAndTheirBareCodes) {
    const std::string l50(50, 'c');
    expectCodes('D', {},
                {
                    {"no lines", {}, 0x0E00},
                    {"line 4 only", {"1327=X"}, 0},
                    {"50 characters", {"1324=" + l50}, 0},
                    {"51 in line 1", {"1324=" + l50 + "c"}, 3},
                    {"51 in line 3", {"1324=a", "1326=" + l50 + "c"}, 5},
                    {"51 in line 4", {"1327=" + l50 + "c"}, 6},
                    {"target 7 without branch", {"1324=a", "1022=7"}, 0x0404},
                    {"branch B3 target 0", {"1324=a", "1021=B3", "1022=0"}, 0x0305},
                });
    const ComponentRecord r = stored('D', {"+1057", "1324=SAVE -m1", "1326=" + l50});
    EXPECT_EQ(std::pair(r.u8(88), r.u8(258)), (std::pair<std::uint8_t, std::uint8_t>(1, 0)));
    EXPECT_EQ(r.text(96, 56) + "|" + r.text(152, 56) + "|" + r.text(208, 56), "SAVE -m1||" + l50);
}

TEST(PictureReader, SizesMediaAndKinds) {
    expectCodes('p', {"1173=x.bmp"},
                {
                    {"screen 95+5", {"+1170", "1174=95", "1175=95", "1176=5", "1177=5"}, 0},
                    {"screen 96+5", {"+1170", "1174=96", "1175=95", "1176=5", "1177=5"}, 0x3D00},
                    {"screen y 96+5", {"+1170", "1175=96", "1176=5", "1177=5"}, 0x3D00},
                    {"printer width 4", {"+1171", "1176=4", "1177=50"}, 0x3D00},
                    {"printer height 4", {"+1171", "1176=50", "1177=4"}, 0x3D00},
                    {"printer 90+50", {"+1171", "1174=90", "1176=50", "1177=50"}, 0},
                    {"negative width", {"+1171", "1176=-50", "1177=50"}, 0x3D00},
                    {"no file", {"1173=", "1176=50", "1177=50"}, 0x3C00},
                });
    ComponentRecord r = stored('p', {"1173=C:\\B\\LOGO.BMP", "+1171", "+1057", "1174=12abc",
                                     "1175=", "1176=20", "1177=30", "+2163", "+2180"});
    // ".BMP" is not ".bmp": a JPEG by the stored kind.
    EXPECT_EQ(bytesAt(r, 88, 6), (ByteRow{1, 1, 'P', 'J', 1, 1}));
    EXPECT_EQ((std::vector<std::uint32_t>{r.u32(96), r.u32(100), r.u32(104), r.u32(108)}),
              (std::vector<std::uint32_t>{12, 0, 20, 30}));
    EXPECT_EQ(r.text(112, 260), "C:\\B\\LOGO.BMP");
    r = stored('p', {"1173=a.bmp.jpg", "+1170", "1176=5", "1177=5"}, r);
    EXPECT_EQ(bytesAt(r, 90, 2), (ByteRow{'D', 'B'}));
    // The file choice compares the extension ignoring case.
    MapForm f;
    EXPECT_EQ(ChoosePictureFile(f, "C:\\p\\LOGO.BMP"), 0);
    EXPECT_EQ(f.fullText(1173), "C:\\p\\LOGO.BMP");
    EXPECT_EQ(ChoosePictureFile(f, "logo.Jpg"), 0);
    EXPECT_EQ(ChoosePictureFile(f, "logo.png"), 0x3C00);
    EXPECT_EQ(f.fullText(1173), "");
    EXPECT_EQ(ChoosePictureFile(f, "bmp"), 0x3C00);
}

TEST(MeasuringReader, ListScanRateNumberAndTriggers) {
    expectCodes('M', {"+1005", "1013=P1", "1017=10"},
                {
                    {"scan 0.0005", {"1016=0.0005"}, ErrorCode(15, 4)},
                    {"scan 0.001", {"1016=0.001"}, 0},
                    {"scan 60", {"1016=60"}, 0},
                    {"scan 60.001", {"1016=60.001"}, ErrorCode(15, 4)},
                    {"scan empty", {}, ErrorCode(15, 4)},
                    // Beyond any integer: refused, not converted.
                    {"scan inf", {"1016=inf"}, ErrorCode(15, 4)},
                    {"scan -inf", {"1016=-inf"}, ErrorCode(15, 4)},
                    {"scan nan", {"1016=nan"}, ErrorCode(15, 4)},
                    {"scan 1e300", {"1016=1e300"}, ErrorCode(15, 4)},
                });
    expectCodes('M', {"+1005", "1013=P1", "1016=1"},
                {
                    {"number 1", {"1017=1"}, ErrorCode(16, 5)},
                    {"number 2", {"1017=2"}, 0},
                    {"number 999999999", {"1017=999999999"}, 0},
                    {"number 10 digits", {"1017=1234567890"}, ErrorCode(16, 5)},
                });
    expectCodes(
        'M', {"+1005", "1013=P1", "1016=1", "1017=10"},
        {
            {"operator edge in S", {"1018=P1", "1019=\xAB", "1020=1"}, 0},
            {"trigger P16", {"1018=P16", "1019=>", "1020=1"}, 0},
            {"trigger P17", {"1018=P17", "1019=>", "1020=1"}, ErrorCode(11, 6)},
            {"trigger P100", {"1018=P100", "1019=>", "1020=1"}, ErrorCode(11, 6)},
            {"trigger P1A", {"1018=P1A", "1019=>", "1020=1"}, ErrorCode(11, 6)},
            {"operator wrong", {"1018=P1", "1019=+", "1020=1"}, ErrorCode(19, 7)},
            {"value missing", {"1018=P1", "1019=>"}, ErrorCode(18, 8)},
            {"value, no trigger", {"1020=3"}, ErrorCode(18, 8)},
            {"second trigger", {"#2177=3", "1023=T2", "1024=\xBB", "1025=2"}, 0},
            {"second operator", {"#2177=1", "1023=T2", "1024=x", "1025=2"}, ErrorCode(19, 12)},
            {"second value", {"#2177=1", "1023=T2", "1024=<"}, ErrorCode(18, 13)},
            {"second var", {"#2177=2", "1023=T20", "1024=<", "1025=1"}, ErrorCode(11, 11)},
        });
    expectCodes('M', {"+1004"},
                {
                    {"list 30", {"1013=" + std::string(30, 'P')}, 0},
                    {"list 31", {"1013=" + std::string(31, 'P')}, ErrorCode(54, 3)},
                    {"list blanks", {"1013=   "}, ErrorCode(14, 3)},
                    {"list P32", {"1013=P32"}, ErrorCode(11, 3)},
                    {"list P100", {"1013=P100"}, ErrorCode(11, 3)},
                    {"list <S100>", {"1013=<S100>"}, ErrorCode(113, 3)},
                    {"edge in M", {"1013=P1", "1018=P1", "1019=\xAB", "1020=1"}, ErrorCode(19, 5)},
                    {"trigger in M", {"1013=P1", "1018=P1", "1019=<", "1020=1"}, 0},
                });
    ComponentRecord r = stored(
        'M', {"+1005", "+1451", "1013=P1SA3", "1016=0.25", "1017=500", "1018=P2", "1019=\xAB",
              "1020=12.5", "#2177=2", "1023=T1", "1024=<", "1025=-3", "#2179=10"});
    EXPECT_EQ(bytesAt(r, 88, 9), (ByteRow{'S', 1, 'P', 1, 0, 'S', 'A', 3, 0}));
    // Scan period in microseconds, number, pretrigger.
    EXPECT_EQ((std::vector<std::uint32_t>{r.u32(152), r.u32(160), r.u8(164)}),
              (std::vector<std::uint32_t>{250000, 500, 100}));
    EXPECT_EQ(bytesAt(r, 172, 4), (ByteRow{'P', 2, 0, 0xAB}));
    EXPECT_EQ(bytesAt(r, 184, 5), (ByteRow{2, 'T', 1, 0, '<'}));
    EXPECT_FLOAT_EQ(r.f32(180), 12.5f);
    EXPECT_FLOAT_EQ(r.f32(196), -3.0f);
    // Mode M stores 1 measurement at 1 s whatever the disabled fields hold.
    r = stored('M', {"+1004", "1013=P1", "1016=0", "1017=0"}, r);
    EXPECT_EQ(std::pair(r.u32(152), r.u32(160)), std::pair(1000000u, 1u));
    // Mode T stores no list, scan rate, number or trigger.
    r = stored(
        'M',
        {"+1006", "+2155", "1013=P1", "1016=1", "1017=5", "1018=P1", "1019=>", "1020=1", "#2177=1"},
        r);
    EXPECT_EQ(r.u8(88), 'T');
    for (std::size_t i = 90; i < 200; ++i)
        EXPECT_EQ(r.u8(i), i == 165 ? 1 : 0) << i;  // only the transfer variant
}

TEST(MeasuringList, ParsedEntries) {
    // The text, the error, the bytes stored without one.
    const std::tuple<const char*, int, std::vector<std::uint8_t>> cases[] = {
        {"P1P2", 0, {'P', 1, 0, 'P', 2, 0, 0}},
        {"SA3", 0, {'S', 'A', 3, 0}},
        {"  P31", 0, {'P', 31, 0, 0}},
        {"P1, P2", 0, {'P', 1, 0, ',', ' ', 0, 'P', 2, 0, 0}},
        {"P32", 11, {}},
        {"P100", 11, {}},
        {"P4294967297", 11, {}},  // read without overflowing
        {"<S5>", 0, {'@', 5, 0, 0}},
        {"<S0>", 0, {'@', 0, 0, 0}},
        {"<S99> ", 0, {'@', 99, 0, 0}},
        {"<S100>", 113, {}},
        {"<S5>x", 113, {}},
        {"<S5", 113, {}},
        {"<Sx>", 113, {}},
        {"", 14, {}},
    };
    for (const auto& [text, error, want] : cases) {
        std::vector<std::uint8_t> bytes;
        EXPECT_EQ(ParseVariableList(text, bytes), error) << text;
        if (error == 0) {
            EXPECT_EQ(bytes, want) << text;
        }
    }
    ComponentRecord r = withBytes({}, 90, {'P', 1, 0, 'S', 'A', 31, 'T', 12, 0});
    EXPECT_EQ(FormatVariableList(r), "P1SA31T12");
    EXPECT_EQ(FormatVariableList(withBytes(r, 90, {'@', 7})), "<S7>");
    for (std::size_t i = 90; i < 152; i += 3)
        r = withBytes(r, i, {'S', 'A', 10});
    EXPECT_EQ(FormatVariableList(r).size(), 40u);
}

TEST(ConditionCheck, AcceptedAndRefusedConditions) {
    // Expected result, then the conditions that give it.
    const std::pair<int, std::vector<const char*>> groups[] = {
        // Accepted: fixed words, the empty text, "1", 20 characters, the limits of
        // the numbers, every operator, text and variable operands, negation.
        {0, {"", "1", "INFO", "WEITER", "CONTINUE", "!WEITER", "!CONTINUE", "SPEICHER", "MEMORY"}},
        {0, {"!SPEICHER", "!MEMORY", "Z1=12345678901234567", "E1", "E96", "A96=1", "B255"}},
        {0, {"Z255=1", "Z1=3", "Z1<3", "Z1>3", "Z1!3", "Z1<=3", "Z1>=3", "Z1!=3", "A1<.5"}},
        {0, {"A1<5.", "S1=\"OK\"", "S1!=\"OK\"", "S1!\"\"", "Z1=Z2", "Z1<z2", "A1<a96", "A1=B5"}},
        {0, {"A1=12.5", "A1=12,5", "Z1=12", "!B5", "!b5", "!E96"}},
        // A variable letter or number out of range (A and E 1..96, others 1..255).
        {11,
         {"weiter", "INFO2", "E97", "E0", "E", "A97=1", "B256", "B0", "Z256=1", "B99999999999",
          "A1<a97", "E1=B0", "!E97"}},
        // Syntax: an operator without operand or twice, a variable other than B or E
        // alone.
        {26,
         {"I2", "Z5", "b5", "S1", "Z1==3", "A1<", "Z5=", "E1!=", "S1=", "A1>=.", "Z1<<3", "Z1<=>3",
          "Z1=!3", "Z1+3", "!!B5"}},
        // Longer than 20 characters.
        {54, {"Z1=123456789012345678"}},
        // Characters after the operand.
        {25, {"A1<#", "S1=\"OK\"X", "A1=B5X", "Z1=Z2+", "A1=1.2.3", "A1=1x", "!B5=1"}},
        // A text operand with another operator than = or !.
        {23, {"S1<\"OK\"", "S1>=\"OK\""}},
        // An operand of the wrong kind: text for A, Z with others, fractions for Z,
        // numbers for B and S, a negated operand.
        {24, {"A1=\"OK\"", "Z1=A2", "A1=Z2", "Z1=12.5", "B1=1", "S1=1", "!5", "!\"x\"", "!Z5"}},
        // A text operand not closed.
        {22, {"S1=\"OK"}},
    };
    for (const auto& [error, texts] : groups)
        for (const char* text : texts)
            EXPECT_EQ(CheckCondition(text), error) << "condition '" << text << "'";
}

TEST(ConditionCheck, ListsTheVariablesItNames) {
    using V = std::vector<ConditionVariable>;
    EXPECT_EQ(ConditionVariables("Z5>=z6"), (V{{'Z', 5}, {'Z', 6}}));
    EXPECT_EQ(ConditionVariables("a1<b2"), (V{{'a', 1}, {'B', 2}}));
    EXPECT_EQ(ConditionVariables("!B12"), (V{{'B', 12}}));
    EXPECT_EQ(ConditionVariables("S3=\"A1\""), (V{{'S', 3}}));
    EXPECT_EQ(ConditionVariables("A7=12.5"), (V{{'A', 7}}));
    EXPECT_TRUE(ConditionVariables("WEITER").empty());
    EXPECT_TRUE(ConditionVariables("1").empty());
    // A faulty condition keeps what was read before the fault.
    const ConditionResult r = ParseCondition("Z1=A300");
    EXPECT_EQ(r.error, 11);
    EXPECT_EQ(r.variables, (V{{'Z', 1}, {'A', 300}}));
}

}  // namespace
}  // namespace quelvari::test
