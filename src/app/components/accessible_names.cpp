#include "app/components/accessible_names.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>

#include <algorithm>
#include <tuple>
#include <vector>

namespace quelvari::app {
namespace {

QString Plain(QString text) {
    // "&" marks a mnemonic ("&&" a literal ampersand); line breaks become
    // spaces.
    text.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
    text.remove(QLatin1Char('&'));
    text.replace(QLatin1Char('\x01'), QLatin1Char('&'));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return text.trimmed();
}

bool IsField(const QWidget* w) {
    return qobject_cast<const QLineEdit*>(w) || qobject_cast<const QComboBox*>(w) ||
           qobject_cast<const QAbstractSpinBox*>(w) || qobject_cast<const QPlainTextEdit*>(w) ||
           qobject_cast<const QTextEdit*>(w) || qobject_cast<const QAbstractItemView*>(w);
}

void Collect(QLayout* layout, std::vector<QWidget*>& out);

// A widget, then what its own layout holds (groups, button boxes, panels).
void CollectWidget(QWidget* w, std::vector<QWidget*>& out) {
    if (!w || w->isWindow())
        return;
    out.push_back(w);
    // Fields and lists keep their inner parts to themselves.
    if (!IsField(w) && w->layout())
        Collect(w->layout(), out);
}

void CollectItem(QLayoutItem* item, std::vector<QWidget*>& out) {
    if (!item)
        return;
    if (QWidget* w = item->widget())
        CollectWidget(w, out);
    else if (QLayout* inner = item->layout())
        Collect(inner, out);
}

// The layout's items in the order they are shown: a grid row by row, a form
// label before field, boxes in their order. A null marks the end of a row or
// a layout.
void Collect(QLayout* layout, std::vector<QWidget*>& out) {
    if (auto* grid = qobject_cast<QGridLayout*>(layout)) {
        std::vector<std::tuple<int, int, int>> cells;  // row, column, index
        for (int i = 0; i < grid->count(); ++i) {
            int row = 0, column = 0, rows = 0, columns = 0;
            grid->getItemPosition(i, &row, &column, &rows, &columns);
            cells.emplace_back(row, column, i);
        }
        std::sort(cells.begin(), cells.end());
        int last = -1;
        for (const auto& [row, column, i] : cells) {
            if (row != last)
                out.push_back(nullptr);  // a new row
            last = row;
            CollectItem(grid->itemAt(i), out);
        }
        out.push_back(nullptr);
        return;
    }
    if (auto* form = qobject_cast<QFormLayout*>(layout)) {
        for (int row = 0; row < form->rowCount(); ++row)
            for (auto role :
                 {QFormLayout::LabelRole, QFormLayout::FieldRole, QFormLayout::SpanningRole})
                CollectItem(form->itemAt(row, role), out);
        return;
    }
    for (int i = 0; i < layout->count(); ++i)
        CollectItem(layout->itemAt(i), out);
    out.push_back(nullptr);
}

// The title of the nearest group around `w`, for a field without a label.
QString GroupTitle(const QWidget* w) {
    for (const QWidget* p = w->parentWidget(); p && !p->isWindow(); p = p->parentWidget())
        if (auto* g = qobject_cast<const QGroupBox*>(p))
            return Plain(g->title());
    return {};
}

bool IsQtDialog(const QObject* dialog) {
    for (const char* name :
         {"QFileDialog", "QMessageBox", "QAbstractPrintDialog", "QPageSetupDialog",
          "QPrintPreviewDialog", "QInputDialog", "QProgressDialog", "QColorDialog", "QFontDialog"})
        if (dialog->inherits(name))
            return true;
    return false;
}

class DialogNamer : public QObject {
  public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show) {
            auto* dialog = qobject_cast<QDialog*>(watched);
            // Only the program's own dialogs: Qt's file, print and message
            // dialogs keep their own order.
            if (dialog && dialog->isWindow() && !IsQtDialog(dialog))
                NameControls(dialog);
        }
        return QObject::eventFilter(watched, event);
    }
};

}  // namespace

void NameControls(QWidget* dialog) {
    if (!dialog || !dialog->layout())
        return;
    std::vector<QWidget*> order;
    Collect(dialog->layout(), order);

    QLabel* label = nullptr;  // the label waiting for its field
    QString rowName;          // a row's label names every field of the row
    std::vector<QWidget*> chain;
    for (QWidget* w : order) {
        if (!w) {
            rowName.clear();
            continue;
        }
        if (auto* l = qobject_cast<QLabel*>(w)) {
            label = l->buddy() ? nullptr : l;
            rowName.clear();
            if (l->buddy())
                l->buddy()->setAccessibleName(Plain(l->text()));
            continue;
        }
        if (!IsField(w))
            rowName.clear();
        if (auto* b = qobject_cast<QAbstractButton*>(w)) {
            if (!b->text().isEmpty())
                b->setAccessibleName(Plain(b->text()));
            else if (!b->toolTip().isEmpty())
                b->setAccessibleName(Plain(b->toolTip()));
        } else if (auto* g = qobject_cast<QGroupBox*>(w)) {
            g->setAccessibleName(Plain(g->title()));
        } else if (IsField(w)) {
            QString name;
            if (label && !Plain(label->text()).isEmpty()) {
                label->setBuddy(w);
                name = rowName = Plain(label->text());
            } else if (!rowName.isEmpty()) {
                name = rowName;  // the second field of a labelled row
            } else if (w->accessibleName().isEmpty()) {
                // A field named by its label's buddy keeps that name; one
                // without a label takes its group's title, else the
                // dialog's.
                name = GroupTitle(w);
                if (name.isEmpty())
                    name = Plain(dialog->windowTitle());
            }
            if (!name.isEmpty())
                w->setAccessibleName(name);
        }
        label = nullptr;
        if (w->focusPolicy() & Qt::TabFocus)
            chain.push_back(w);
    }
    for (std::size_t i = 1; i < chain.size(); ++i)
        QWidget::setTabOrder(chain[i - 1], chain[i]);
}

void NameControlsOfEveryDialog() {
    static DialogNamer* namer = nullptr;
    if (namer || !qApp)
        return;
    namer = new DialogNamer(qApp);
    qApp->installEventFilter(namer);
}

}  // namespace quelvari::app
