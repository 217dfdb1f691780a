#include "app/find_panel.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/qt_text.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

std::uint32_t FieldTextId(FindField field) {
    switch (field) {
        case FindField::Comment:
            return 60406;
        case FindField::InputCondition:
            return 60403;
        case FindField::BranchCondition:
            return 60404;
        case FindField::Variable:
            return 60417;
        case FindField::TypeName:
            return 60402;
    }
    return 60420;
}

}  // namespace

FindPanel::FindPanel(ProcedureList& list, QWidget* parent) : QDockWidget(parent), list_(list) {
    setObjectName(QStringLiteral("findPanel"));
    auto* body = new QWidget(this);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(4, 4, 4, 4);
    auto* row = new QHBoxLayout;
    label_ = new QLabel(body);
    field_ = new QLineEdit(body);
    field_->setObjectName(QStringLiteral("findField"));
    label_->setBuddy(field_);
    count_ = new QLabel(body);
    row->addWidget(label_);
    row->addWidget(field_, 1);
    row->addWidget(count_);
    layout->addLayout(row);
    results_ = new QTreeWidget(body);
    results_->setObjectName(QStringLiteral("findResults"));
    results_->setRootIsDecorated(false);
    results_->setColumnCount(3);
    results_->header()->setStretchLastSection(true);
    results_->setColumnWidth(0, 60);
    results_->setColumnWidth(1, 140);
    layout->addWidget(results_);
    setWidget(body);
    connect(field_, &QLineEdit::returnPressed, this, &FindPanel::search);
    connect(results_, &QTreeWidget::itemActivated, this,
            [this](QTreeWidgetItem* item) { goToHit(results_->indexOfTopLevelItem(item)); });
    connect(results_, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* item) { goToHit(results_->indexOfTopLevelItem(item)); });
    retranslate();
}

void FindPanel::retranslate() {
    setWindowTitle(LangQt(kTitle));
    label_->setText(LangQt(60415));
    field_->setAccessibleName(LangQt(60415));
    results_->setAccessibleName(LangQt(kTitle));
    results_->setHeaderLabels({LangQt(60418), LangQt(60419), LangQt(60420)});
    if (!hits_.empty() || !count_->text().isEmpty())
        search();
}

void FindPanel::open() {
    show();
    raise();
    field_->setFocus();
    field_->selectAll();
}

void FindPanel::search() {
    results_->clear();
    hits_.clear();
    // The procedure holds Windows-1252: a text it cannot hold is in no step.
    const auto needle = FromQt(field_->text());
    if (needle && list_.documentOpen)
        hits_ = FindSteps(list_, *needle);
    QList<QTreeWidgetItem*> items;
    for (const FindHit& hit : hits_)
        items << new QTreeWidgetItem(
            {QString::number(hit.step), LangQt(FieldTextId(hit.field)), ToQt(hit.text)});
    results_->addTopLevelItems(items);
    count_->setText(ToQt(FormatText(GetLangText(60416), static_cast<long>(hits_.size()))));
}

void FindPanel::stepsChanged() {
    if (isVisible() && !field_->text().isEmpty()) {
        search();
        return;
    }
    hits_.clear();
    results_->clear();
    count_->clear();
}

bool FindPanel::findNext() {
    if (hits_.empty())
        search();
    const int next = NextHit(hits_, list_.currentNumber);
    if (next < 0)
        return false;
    results_->setCurrentItem(results_->topLevelItem(next));
    goToHit(next);
    return true;
}

void FindPanel::goToHit(int index) {
    if (index < 0 || index >= static_cast<int>(hits_.size()) || !list_.documentOpen)
        return;
    list_.goToStep(hits_[static_cast<std::size_t>(index)].step);
    emit stepChosen();
}

}  // namespace quelvari::app
