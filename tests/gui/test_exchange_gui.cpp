// The editor's text form commands and the Variables panel.
#include <QTemporaryDir>
#include <QTreeWidget>

#include <fstream>

#include "app/exchange/variables_panel.h"
#include "exchange/procedure_text.h"
#include "window_fixture.h"

namespace quelvari::app {
namespace {

class ExchangeGui : public test::WindowTest {};

TEST_F(ExchangeGui, ImportsExportsAndListsTheVariablesOfTheProcedureInMemory) {
    QTemporaryDir tmp;
    const auto file = [&](const char* name) { return tmp.path() + "/" + name; };
    std::vector<ComponentRecord> records;
    ASSERT_TRUE(exchange::ReadProcedureRecords(QUELVARI_EXAMPLES "/sample.PAD", records).ok());
    const std::string text = exchange::ExportText(records);
    std::ofstream(file("good.txt").toStdString(), std::ios::binary) << text;
    std::string bad = text;
    bad.replace(bad.find("time_factor = 200"), 17, "time_factor = -5");
    std::ofstream(file("bad.txt").toStdString(), std::ios::binary) << bad;

    MainWindow& w = shown(QString());
    // A refused text shows its line and leaves the procedure alone.
    QString box;
    test::ReadNextBox(box);
    EXPECT_FALSE(w.importTextPath(file("bad.txt")));
    EXPECT_TRUE(box.contains(QStringLiteral("time_factor"))) << box.toStdString();
    EXPECT_EQ(w.procedure().documentOpen, 0u);

    ASSERT_TRUE(w.importTextPath(file("good.txt")));
    EXPECT_EQ(w.procedure().componentCount, records.size());
    EXPECT_EQ(w.procedure().modified, 1u);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Quelvari - NoName.PAD*"));
    EXPECT_EQ(exchange::ExportText(exchange::ListRecords(w.procedure())),
              exchange::ExportText(records));

    // Export writes the procedure in memory, unsaved as it is; a path that
    // cannot be written is reported and leaves nothing behind.
    ASSERT_TRUE(w.exportTextPath(file("again.txt")));
    EXPECT_EQ(test::FileBytes(file("again.txt")).toStdString(),
              exchange::ExportText(records, "NoName.PAD"));
    test::ReadNextBox(box);
    EXPECT_FALSE(w.exportTextPath(file("no/such/dir.txt")));
    EXPECT_TRUE(box.contains(QStringLiteral("no/such/dir.txt"))) << box.toStdString();

    // The Variables panel lists the procedure in memory: Z2 is read by the
    // break at step 8 and written nowhere; its use leads to the step.
    w.variablesPanel()->show();
    QTreeWidget* tree = w.variablesPanel()->tree();
    const QList<QTreeWidgetItem*> z2 = tree->findItems(QStringLiteral("Z2"), Qt::MatchExactly);
    ASSERT_EQ(z2.size(), 1);
    EXPECT_EQ(z2[0]->text(1), QStringLiteral("8"));
    EXPECT_TRUE(z2[0]->text(2).isEmpty());
    ASSERT_EQ(z2[0]->childCount(), 1);
    EXPECT_EQ(w.procedure().currentNumber, 1u);
    emit tree->itemDoubleClicked(z2[0]->child(0), 1);
    EXPECT_EQ(w.procedure().currentNumber, 8u);
}

}  // namespace
}  // namespace quelvari::app
