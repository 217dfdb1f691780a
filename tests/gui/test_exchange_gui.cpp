// The editor's text form commands and the Variables panel.
#include <QFile>
#include <QTemporaryDir>
#include <QTreeWidget>

#include "app/exchange/variables_panel.h"
#include "exchange/procedure_text.h"
#include "window_fixture.h"

namespace quelvari::app {
namespace {

const std::string kSample = QUELVARI_EXAMPLES "/sample.PAD";

class ExchangeGui : public test::WindowTest {};

void writeText(const std::string& path, const std::string& text) {
    QFile f(QString::fromStdString(path));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text.data(), static_cast<qint64>(text.size()));
}

TEST_F(ExchangeGui, ImportsATextAsANewProcedureAndRefusesADamagedOne) {
    QTemporaryDir tmp;
    const auto file = [&](const char* name) { return (tmp.path() + "/" + name).toStdString(); };
    std::vector<ComponentRecord> records;
    ASSERT_TRUE(exchange::ReadProcedureRecords(kSample, records).ok());
    const std::string text = exchange::ExportText(records);
    writeText(file("good.txt"), text);
    std::string bad = text;
    bad.replace(bad.find("time_factor = 200"), 17, "time_factor = -5");
    writeText(file("bad.txt"), bad);

    MainWindow& w = shown(QString());
    // A refused text shows its line and leaves the procedure alone.
    QString shown;
    test::ReadNextBox(shown);
    EXPECT_FALSE(w.importTextPath(QString::fromStdString(file("bad.txt"))));
    EXPECT_TRUE(shown.contains(QStringLiteral("time_factor"))) << shown.toStdString();
    EXPECT_EQ(w.procedure().documentOpen, 0u);

    ASSERT_TRUE(w.importTextPath(QString::fromStdString(file("good.txt"))));
    EXPECT_EQ(w.procedure().componentCount, records.size());
    EXPECT_EQ(w.procedure().modified, 1u);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Quelvari - NoName.PAD*"));
    EXPECT_EQ(exchange::ExportText(exchange::ListRecords(w.procedure())),
              exchange::ExportText(records));

    // Export writes the procedure in memory, unsaved as it is; a path that
    // cannot be written is reported and leaves nothing behind.
    ASSERT_TRUE(w.exportTextPath(QString::fromStdString(file("again.txt"))));
    QFile again(QString::fromStdString(file("again.txt")));
    ASSERT_TRUE(again.open(QIODevice::ReadOnly));
    EXPECT_EQ(again.readAll().toStdString(), exchange::ExportText(records, "NoName.PAD"));
    test::ReadNextBox(shown);
    EXPECT_FALSE(w.exportTextPath(QString::fromStdString(file("no/such/dir.txt"))));
    EXPECT_TRUE(shown.contains(QStringLiteral("no/such/dir.txt"))) << shown.toStdString();
}

TEST_F(ExchangeGui, VariablesPanelListsTheSampleAndGoesToAStep) {
    MainWindow& w = shown();
    w.variablesPanel()->show();
    QTreeWidget* tree = w.variablesPanel()->tree();
    QTreeWidgetItem* z2 = nullptr;
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        if (tree->topLevelItem(i)->text(0) == QStringLiteral("Z2"))
            z2 = tree->topLevelItem(i);
    ASSERT_NE(z2, nullptr);
    // Z2 is read by the break at step 8 and written nowhere.
    EXPECT_EQ(z2->text(1), QStringLiteral("8"));
    EXPECT_TRUE(z2->text(2).isEmpty());
    ASSERT_EQ(z2->childCount(), 1);
    EXPECT_EQ(w.procedure().currentNumber, 1u);
    emit tree->itemDoubleClicked(z2->child(0), 1);
    EXPECT_EQ(w.procedure().currentNumber, 8u);
}

}  // namespace
}  // namespace quelvari::app
