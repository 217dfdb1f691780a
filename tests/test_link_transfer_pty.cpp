// Whole transfers with quelvari-cli: through the in-process simulated
// instrument and through quelvari-instrument on a pseudo-terminal with the
// real serial port backend, clean and with damaged frames. Every run is
// bounded by `timeout`: a hang fails the test instead of stopping the suite.
#include <gtest/gtest.h>

#include <filesystem>

#include "link_test_util.h"
#include "test_util.h"

namespace quelvari {
namespace {

namespace fs = std::filesystem;
using test::PtyInstrument;
using test::TempDir;

class TransferCli : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"CLEAN.PAD", "CLEAN.IR1", "LEAKAGE.PAM"})
            fs::copy_file(std::string(QUELVARI_EXAMPLES) + "/check-clean/" + name, dir.file(name));
        pad = dir.file("CLEAN.PAD");
    }
    test::CommandResult transfer(const std::string& link, const std::string& more = "") {
        return test::runCommand("timeout 120 " + std::string(QUELVARI_CLI) + " transfer '" + pad +
                                "' --number 2 --lang 1 --link " + link + " " + more + " 2>&1");
    }
    std::vector<std::string> cardFiles(const std::string& card) {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(card))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    void expectSameCards(const std::string& a, const std::string& b) {
        ASSERT_EQ(cardFiles(a), cardFiles(b));
        for (const std::string& name : cardFiles(a))
            EXPECT_EQ(test::readBytes(a + "/" + name), test::readBytes(b + "/" + name)) << name;
    }
    TempDir dir;
    std::string pad;
};

TEST_F(TransferCli, RefusesAnUncheckedProcedureAndBadArguments) {
    const auto r = transfer("sim:" + dir.file("card"));
    EXPECT_EQ(r.status, 2) << r.out;
    EXPECT_NE(r.out.find("(90)"), std::string::npos) << r.out;
    EXPECT_FALSE(fs::exists(dir.file("card/P002.PAD")));

    const auto bad = test::runCli("transfer '" + pad + "' --number 0 --link sim");
    EXPECT_EQ(bad.status, 64) << bad.out;
    const auto none = test::runCli("transfer --number 3 --link sim");
    EXPECT_EQ(none.status, 64) << none.out;
}

TEST_F(TransferCli, SerialTransferThroughAPseudoTerminalLandsTheSameFiles) {
    ASSERT_EQ(test::runCli("check '" + pad + "' --mode pv6410").status, 0);
    const auto usb = transfer("sim:" + dir.file("usb"));
    ASSERT_EQ(usb.status, 0) << usb.out;
    EXPECT_EQ(cardFiles(dir.file("usb")),
              (std::vector<std::string>{"P002.HDR", "P002.IR1", "P002.PAD"}));
    EXPECT_EQ(test::readBytes(dir.file("usb/P002.PAD")), test::readBytes(pad));

    {
        // An instrument that acknowledges each frame only at its wire time at
        // 57600 baud, as one on a real line does.
        PtyInstrument instrument(dir.file("serial"), {"--busy", "2", "--wire-baud", "57600"});
        ASSERT_FALSE(instrument.path().empty());
        const auto serial = transfer("serial:" + instrument.path(), "--baud 3");
        ASSERT_EQ(serial.status, 0) << serial.out;
    }
    expectSameCards(dir.file("usb"), dir.file("serial"));
    {
        // A full instrument (procedure number 0, " voll") is refused before the
        // transfer, as the dialog keeps its start disabled.
        PtyInstrument full(dir.file("full"), {"--number", "0"});
        ASSERT_FALSE(full.path().empty());
        const auto r = transfer("serial:" + full.path(), "--baud 3");
        EXPECT_EQ(r.status, 4) << r.out;
        EXPECT_NE(r.out.find("(82)"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("\" voll\""), std::string::npos) << r.out;
        EXPECT_FALSE(fs::exists(dir.file("full/P002.PAD")));
    }
    {
        // The adapter is pulled during the transfer: message 79 with the
        // system's reason, at once.
        PtyInstrument gone(dir.file("gone"), {"--hang-up-after", "8"});
        ASSERT_FALSE(gone.path().empty());
        const auto r = transfer("serial:" + gone.path(), "--baud 3");
        EXPECT_EQ(r.status, 4) << r.out;
        EXPECT_NE(r.out.find("Input/output error"), std::string::npos) << r.out;
    }

    // Damaged and lost frames: the transfer ends verified or with a catalogue
    // message, never hangs. Lost block frames are sent again.
    for (const auto& [corrupt, drop, seed] :
         {std::tuple{"0.01", "0.01", "3"}, std::tuple{"0.01", "0.01", "7"},
          std::tuple{"0.2", "0.05", "5"}}) {
        const std::string card = dir.file(std::string("faulty-") + seed);
        PtyInstrument instrument(card, {"--corrupt", corrupt, "--drop", drop, "--seed", seed});
        ASSERT_FALSE(instrument.path().empty());
        const auto r = transfer("serial:" + instrument.path(), "--baud 3");
        ASSERT_NE(r.status, 124) << "hung: " << r.out;
        if (r.status == 0) {
            expectSameCards(dir.file("usb"), card);
        } else {
            EXPECT_EQ(r.status, 4) << r.out;
            EXPECT_NE(r.out.find("ERROR"), std::string::npos) << r.out;
        }
    }
}

}  // namespace
}  // namespace quelvari
