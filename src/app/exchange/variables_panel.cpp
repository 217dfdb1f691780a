#include "app/exchange/variables_panel.h"

#include <QHeaderView>
#include <QTreeWidget>

#include "app/qt_text.h"
#include "exchange/variable_xref.h"
#include "model/procedure.h"
#include "texts/texts.h"

namespace quelvari::app {

namespace {

// Own texts of the panel.
constexpr std::uint32_t kVariableColumn = 60603;
constexpr std::uint32_t kRead = 60604;
constexpr std::uint32_t kWritten = 60605;
constexpr std::uint32_t kNotFound = 60609;
constexpr std::uint32_t kStep = 60610;

// The step of the procedure itself that an item names; 0 for none.
constexpr int kStepRole = Qt::UserRole + 1;

// "Step 8", or "VALVES.PAM: Step 1" for a step of a module or interrupt
// procedure.
QString stepText(const exchange::VariableXref& x, const exchange::VariableSite& s) {
    QString text = LangQt(kStep).replace(QStringLiteral("%d"), QString::number(s.step));
    if (s.file != 0)
        text = ToQt(x.files[s.file].name) + QStringLiteral(": ") + text;
    return text;
}

// The variable's row lists its steps briefly: "1, 8, VALVES.PAM: 1".
QString stepList(const exchange::VariableXref& x, const std::vector<exchange::VariableSite>& s) {
    QStringList parts;
    for (const auto& site : s)
        parts << (site.file == 0 ? QString::number(site.step)
                                 : ToQt(x.files[site.file].name) + QStringLiteral(": ") +
                                       QString::number(site.step));
    return parts.join(QStringLiteral(", "));
}

}  // namespace

VariablesPanel::VariablesPanel(const ProcedureList& list, QWidget* parent)
    : QDockWidget(parent), list_(list) {
    setObjectName(QStringLiteral("VariablesPanel"));
    tree_ = new QTreeWidget(this);
    tree_->setColumnCount(3);
    tree_->setRootIsDecorated(false);
    tree_->setAlternatingRowColors(true);
    tree_->header()->setStretchLastSection(true);
    tree_->setMinimumWidth(320);
    setWidget(tree_);
    connect(tree_, &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item, int) { activate(item); });
    relabel();
}

void VariablesPanel::relabel() {
    setWindowTitle(LangQt(kTitle));
    tree_->setHeaderLabels({LangQt(kVariableColumn), LangQt(kRead), LangQt(kWritten)});
    refresh();
}

void VariablesPanel::showEvent(QShowEvent* event) {
    QDockWidget::showEvent(event);
    refresh();
}

void VariablesPanel::refresh() {
    if (!isVisible())
        return;
    tree_->clear();
    if (!list_.documentOpen || list_.procedureHead.record.typeCode() == 0)
        return;
    const std::string path = list_.documentPath.empty() || list_.documentPath == "NoName.PAD"
                                 ? std::string()
                                 : list_.documentPath;
    const exchange::VariableXref x = exchange::CrossReference(list_, path);
    // One row per variable; below it one row per step, in the column of its
    // access, so that a double click picks a step.
    for (const exchange::VariableEntry& v : x.variables) {
        auto* row =
            new QTreeWidgetItem(tree_, {ToQt(v.name), stepList(x, v.reads), stepList(x, v.writes)});
        const auto& first = !v.reads.empty() ? v.reads.front() : v.writes.front();
        row->setData(0, kStepRole, first.file == 0 ? static_cast<int>(first.step) : 0);
        for (int column : {1, 2})
            for (const auto& s : column == 1 ? v.reads : v.writes) {
                auto* site = new QTreeWidgetItem(row);
                site->setText(column, stepText(x, s));
                site->setData(0, kStepRole, s.file == 0 ? static_cast<int>(s.step) : 0);
            }
    }
    for (std::size_t f = 1; f < x.files.size(); ++f)
        if (!x.files[f].read)
            new QTreeWidgetItem(tree_, {ToQt(x.files[f].name), LangQt(kNotFound)});
    tree_->setRootIsDecorated(true);
    for (int column : {0, 1, 2})
        tree_->resizeColumnToContents(column);
}

void VariablesPanel::activate(QTreeWidgetItem* item) {
    const int step = item ? item->data(0, kStepRole).toInt() : 0;
    if (step > 0)
        emit stepActivated(step);
}

}  // namespace quelvari::app
