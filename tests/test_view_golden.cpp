// What the view draws of every component type, in German (built-in texts) and
// the three table languages, as `quelvari-cli dump` prints it, against the
// files in tests/data/golden (every language's texts are proved complete by
// the text tests).
// QUELVARI_WRITE_GOLDEN=1 rewrites them after an intended change.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "check_builders.h"
#include "components/catalogue.h"

namespace quelvari::test {
namespace {

ComponentRecord typed(char code, std::uint8_t byte88 = 0) {
    ComponentRecord r;
    r.setTypeCode(static_cast<std::uint8_t>(code));
    r.setU8(88, byte88);
    return r;
}

// Every type with an empty payload, then records that show the rows of the
// types' other states.
Records viewRecords() {
    Records r;
    for (const ComponentType& type : kCatalogue)
        r.push_back(typed(type.code));
    r.push_back(typed('P', 'G'));
    ComponentRecord m = typed('M', 'M');
    m.setU8(89, 1);
    m.setU8(90, 'P');
    m.setU8(91, 1);
    r.push_back(m);
    m.setU8(88, 'S');
    m.setU8(184, 2);  // triggers linked by "or"
    m.setU32(152, 250000);
    m.setU32(160, 1000);
    m.setF32(180, 1.5f);
    m.setU8(164, 30);
    r.push_back(m);
    m.setU8(88, 'T');
    r.push_back(m);
    ComponentRecord d = typed('D');
    d.setText(152, "SAVE -m1");
    r.push_back(d);
    ComponentRecord z = typed('Z', 'Z');
    z.setU16(90, 42);
    r.push_back(z);
    ComponentRecord i = typed('I');
    i.setU8(88 + 16, 1);
    i.setU8(88 + 17, 'C');
    i.setU8(88 + 18, 1);
    i.setU16(88 + 22, 5);
    r.push_back(i);
    ComponentRecord c = typed('C', 1);
    c.setText(92, "Teil");
    c.setU8(136, 'B');
    c.setU8(137, 3);
    r.push_back(c);
    r.push_back(typed('x'));
    r.push_back(typed('B', 5));
    ComponentRecord printer = typed('p');  // picture on the printer
    printer.setText(112, "LOGO.BMP");
    printer.setU8(90, 'P');
    printer.setU8(92, 1);
    r.push_back(printer);
    for (char bus : {'Z', 'I', 'R'})
        r.push_back(interbus(bus));
    r.push_back(withEntry(makeRecord('B', "Kommentar mit Umlaut \xE4", "B1", 2), "E3"));
    return r;
}

TEST(ViewGolden, DumpOfEveryType) {
    TempDir dir;
    const std::string pad = dir.file("views.PAD");
    writeRecords(pad, viewRecords());
    const bool write = std::getenv("QUELVARI_WRITE_GOLDEN") != nullptr;
    const char* const langs[] = {"de", "en", "fr", "it"};  // --lang 0 to 3
    for (int n = 0; n < 4; ++n) {
        const std::string lang = langs[n];
        SCOPED_TRACE(lang);
        const auto dump = runCli("dump " + pad + " --lang " + std::to_string(n));
        ASSERT_EQ(dump.status, 0) << dump.out;
        const std::string golden =
            std::string(QUELVARI_TEST_DATA) + "/golden/views." + lang + ".txt";
        if (write)
            std::ofstream(golden, std::ios::binary) << dump.out;
        std::ifstream in(golden, std::ios::binary);
        ASSERT_TRUE(in.good()) << golden << " missing (QUELVARI_WRITE_GOLDEN=1 writes it)";
        std::stringstream expected;
        expected << in.rdbuf();
        EXPECT_EQ(dump.out, expected.str());
    }
}

}  // namespace
}  // namespace quelvari::test
