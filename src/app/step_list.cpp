#include "app/step_list.h"

#include <QApplication>
#include <QDataStream>
#include <QHeaderView>
#include <QIODevice>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QPixmap>
#include <QStyleOptionHeader>
#include <QStyledItemDelegate>
#include <QTimer>

#include <algorithm>

#include "app/qt_text.h"
#include "components/catalogue.h"
#include "render/resources.h"

namespace quelvari::app {
namespace {

// The list's column header. Its sections are never drawn bold (the whole row
// is selected, so highlighting would make every section bold at once), and
// it measures them in the font it draws them in: the stock header measures
// in bold, which costs the start a font of its own.
class StepListHeader : public QHeaderView {
  public:
    explicit StepListHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
        setSectionsClickable(true);
        setHighlightSections(false);
    }

  protected:
    // Asked again on every geometry update: a text keeps its size until the
    // font or the style changes.
    QSize sectionSizeFromContents(int logicalIndex) const override {
        QStyleOptionHeader option;
        initStyleOption(&option);
        option.section = logicalIndex;
        if (model())
            option.text = model()->headerData(logicalIndex, orientation()).toString();
        if (auto it = sizes_.constFind(option.text); it != sizes_.constEnd())
            return *it;
        const QSize size =
            style()->sizeFromContents(QStyle::CT_HeaderSection, &option, QSize(), this);
        sizes_.insert(option.text, size);
        return size;
    }
    void changeEvent(QEvent* event) override {
        if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
            sizes_.clear();
        QHeaderView::changeEvent(event);
    }

  private:
    mutable QHash<QString, QSize> sizes_;
};

// Paints a cell as the stock delegate does (background, selection, icon and
// focus through the style) but draws its text as one run, elided at the
// right, where the stock delegate lays out every cell's text as a paragraph:
// the cost of a list repaint is mostly its text.
class StepCellDelegate : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem cell = option;
        initStyleOption(&cell, index);
        const QWidget* widget = cell.widget;
        const QStyle* style = widget ? widget->style() : QApplication::style();
        const QString text = cell.text;
        cell.text.clear();
        cell.features &= ~QStyleOptionViewItem::HasDisplay;
        style->drawControl(QStyle::CE_ItemViewItem, &cell, painter, widget);
        if (text.isEmpty())
            return;
        // The text's room: the cell less the style's text margins and, in
        // front, the icon with its margin.
        const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1;
        QRect room = cell.rect.adjusted(margin, 0, -margin, 0);
        if (cell.features & QStyleOptionViewItem::HasDecoration)
            room.setLeft(room.left() + cell.decorationSize.width() + margin);
        const QFontMetrics& metrics = cell.fontMetrics;
        const QString shown = metrics.elidedText(text, Qt::ElideRight, room.width());
        const int x = cell.displayAlignment & Qt::AlignRight
                          ? room.right() + 1 - metrics.horizontalAdvance(shown)
                          : room.left();
        const int y = room.top() + (room.height() - metrics.height()) / 2 + metrics.ascent();
        const QPalette::ColorGroup group =
            !(cell.state & QStyle::State_Enabled) ? QPalette::Disabled
            : (cell.state & QStyle::State_Active) ? QPalette::Normal
                                                  : QPalette::Inactive;
        painter->save();
        painter->setFont(cell.font);
        painter->setPen(cell.palette.color(group, cell.state & QStyle::State_Selected
                                                      ? QPalette::HighlightedText
                                                      : QPalette::Text));
        painter->drawText(x, y, shown);
        painter->restore();
    }
};

}  // namespace

StepListModel::StepListModel(ProcedureList& list, QObject* parent)
    : QAbstractTableModel(parent), list_(list) {}

std::vector<const ComponentNode*> StepListModel::currentNodes() const {
    std::vector<const ComponentNode*> rows;
    if (list_.documentOpen && list_.componentCount != 0) {
        rows.reserve(list_.componentCount);
        for (const ComponentNode* n = &list_.procedureHead; n && rows.size() < list_.componentCount;
             n = n->next)
            rows.push_back(n);
    }
    return rows;
}

void StepListModel::refreshNodes() {
    using Kind = ProcedureList::StepChange::Kind;
    const ProcedureList::StepChange change = list_.takeStepChange();
    std::vector<const ComponentNode*> rows = currentNodes();
    const std::size_t had = rows_.size();
    const std::size_t has = rows.size();
    const std::size_t first = change.first > 0 ? change.first - 1 : 0;
    const std::size_t count = change.count;
    const bool inserted =
        change.kind == Kind::kInserted && has == had + count && count > 0 && first <= had;
    const bool removed =
        change.kind == Kind::kRemoved && had == has + count && count > 0 && first + count <= had;
    if (!inserted && !removed) {
        if (change.kind == Kind::kNone && rows == rows_)
            return;
        beginResetModel();
        rows_ = std::move(rows);
        endResetModel();
        return;
    }
    // While the view is told, the old rows show the steps they stand for:
    // records have moved between nodes and a Delete released one, so each
    // old row takes the node that now holds its step (a removed row, one
    // that stays valid).
    std::vector<const ComponentNode*> before(had);
    for (std::size_t i = 0; i < had; ++i) {
        if (inserted)
            before[i] = rows[i < first ? i : i + count];
        else if (i < first || i >= first + count)
            before[i] = rows[i < first ? i : i - count];
        else
            before[i] = &list_.procedureHead;
    }
    rows_ = std::move(before);
    const int from = static_cast<int>(first);
    const int to = static_cast<int>(first + count) - 1;
    if (inserted) {
        beginInsertRows({}, from, to);
        rows_ = std::move(rows);
        endInsertRows();
    } else {
        beginRemoveRows({}, from, to);
        rows_ = std::move(rows);
        endRemoveRows();
    }
}

void StepListModel::reload() {
    // Nodes added or removed are told first; a Change or a move keeps the
    // nodes (records move between them). The texts, numbers and gotos of
    // every row may have changed either way.
    refreshNodes();
    if (!rows_.empty())
        emit dataChanged(index(0, 0), index(static_cast<int>(rows_.size()) - 1, ColumnCount - 1));
}

void StepListModel::clear() {
    list_.takeStepChange();  // a hidden list reads every step when shown
    if (rows_.empty())
        return;
    beginResetModel();
    rows_.clear();
    endResetModel();
}

void StepListModel::retranslate() {
    emit headerDataChanged(Qt::Horizontal, 0, ColumnCount - 1);
    if (!rows_.empty())
        emit dataChanged(index(0, Type), index(static_cast<int>(rows_.size()) - 1, Type));
}

int StepListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int StepListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QIcon StepListModel::typeIcon(const ComponentRecord& r) const {
    const std::uint16_t id = PictureId(r);
    auto it = icons_.find(id);
    if (it == icons_.end()) {
        // The pictures are square, one per type at the list's icon size.
        it = icons_.insert(
            id, QIcon(QPixmap::fromImage(render::ListPicture(id, qApp->devicePixelRatio()))));
    }
    return *it;
}

QVariant StepListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= static_cast<int>(rows_.size()))
        return {};
    const ComponentRecord& r = rows_[static_cast<std::size_t>(index.row())]->record;
    if (role == Qt::DecorationRole && index.column() == Type)
        return typeIcon(r);
    if (role == Qt::TextAlignmentRole && (index.column() == Number || index.column() == Goto))
        return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole && role != Qt::AccessibleTextRole)
        return {};
    switch (index.column()) {
        case Number:
            return index.row() + 1;
        case Type:
            return ToQt(TypeName(r));
        case Input:
            return ToQt(r.inputCondition());
        case Branch:
            return ToQt(r.branchCondition());
        case Goto:
            return r.hasBranch() ? QVariant(r.gotoTarget()) : QVariant();
        case Comment:
            return ToQt(r.comment());
        default:
            return {};
    }
}

QVariant StepListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= ColumnCount)
        return {};
    // The conditions take short headers; the list is narrow.
    if (section == Input)
        return LangQt(60427);
    if (section == Branch)
        return LangQt(60428);
    return LangQt(60401 + static_cast<std::uint32_t>(section));
}

Qt::ItemFlags StepListModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
}

Qt::DropActions StepListModel::supportedDropActions() const {
    return Qt::MoveAction;
}

QStringList StepListModel::mimeTypes() const {
    return {QString::fromLatin1(kMimeType)};
}

QMimeData* StepListModel::mimeData(const QModelIndexList& indexes) const {
    std::vector<std::uint32_t> steps;
    for (const QModelIndex& i : indexes)
        steps.push_back(static_cast<std::uint32_t>(i.row() + 1));
    std::sort(steps.begin(), steps.end());
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    for (std::uint32_t s : steps)
        out << s;
    auto* mime = new QMimeData;
    mime->setData(QString::fromLatin1(kMimeType), bytes);
    return mime;
}

bool StepListModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                 const QModelIndex& parent) {
    if (action != Qt::MoveAction || !data || !data->hasFormat(QString::fromLatin1(kMimeType)))
        return false;
    std::vector<std::uint32_t> steps;
    QDataStream in(data->data(QString::fromLatin1(kMimeType)));
    while (!in.atEnd()) {
        std::uint32_t s = 0;
        in >> s;
        steps.push_back(s);
    }
    // Between rows: in front of `row`; onto a row: in front of that row; on
    // the empty space below the rows: to the end.
    std::uint32_t before = static_cast<std::uint32_t>(rows_.size()) + 1;
    if (row >= 0)
        before = static_cast<std::uint32_t>(row) + 1;
    else if (parent.isValid())
        before = static_cast<std::uint32_t>(parent.row()) + 1;
    // The move reloads the model, which the view must not see while it is
    // still handling the drop; and the view removes nothing itself.
    if (onDrop)
        QTimer::singleShot(0, this, [this, steps, before] { onDrop(steps, before); });
    return false;
}

StepListView::StepListView(QWidget* parent) : QTableView(parent) {
    setHorizontalHeader(new StepListHeader(this));
    setItemDelegate(new StepCellDelegate(this));
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setDragDropMode(InternalMove);
    setDefaultDropAction(Qt::MoveAction);
    setDragDropOverwriteMode(false);
    setWordWrap(false);
    setShowGrid(false);
    setAlternatingRowColors(true);
    setIconSize(QSize(StepListModel::kIconSize, StepListModel::kIconSize));
    verticalHeader()->hide();
    // Fixed row heights and column widths: the view never measures 65,535
    // rows.
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    horizontalHeader()->setStretchLastSection(true);
}

std::vector<std::uint32_t> StepListView::selectedSteps() const {
    std::vector<std::uint32_t> steps;
    if (!selectionModel())
        return steps;
    for (const QModelIndex& i : selectionModel()->selectedRows())
        steps.push_back(static_cast<std::uint32_t>(i.row() + 1));
    std::sort(steps.begin(), steps.end());
    return steps;
}

void StepListView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            emit changeRequested();
            return;
        case Qt::Key_Delete:
            if (event->modifiers() == Qt::NoModifier) {
                emit deleteRequested();
                return;
            }
            break;
        default:
            break;
    }
    QTableView::keyPressEvent(event);
}

QModelIndex StepListView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
    if ((action == MoveHome || action == MoveEnd) && model() && model()->rowCount() > 0) {
        const int row = action == MoveHome ? 0 : model()->rowCount() - 1;
        return model()->index(row, currentIndex().isValid() ? currentIndex().column() : 0);
    }
    return QTableView::moveCursor(action, modifiers);
}

StepListDock::StepListDock(ProcedureList& list, QWidget* parent)
    : QDockWidget(parent), list_(list) {
    setObjectName(QStringLiteral("stepListDock"));
    model_ = new StepListModel(list, this);
    view_ = new StepListView(this);
    view_->setObjectName(QStringLiteral("stepList"));
    view_->setModel(model_);
    setWidget(view_);
    connect(view_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { rowChosen(current); });
    // Its texts and column widths come with the window's language
    // (retranslate), once the window is built.
}

void StepListDock::retranslate() {
    setWindowTitle(LangQt(60400));
    view_->setAccessibleName(LangQt(60400));
    model_->retranslate();
    // Wide enough for the header or for typical contents (a five-digit step,
    // a type name, a ten-character condition), whichever is wider.
    const QFontMetrics fm = view_->fontMetrics();
    const QString typical[] = {QStringLiteral("65535"), QStringLiteral("Interruptbaustein"),
                               QStringLiteral("Z10>=Z2"), QStringLiteral("Z10>=Z2"),
                               QStringLiteral("65535")};
    for (int c = 0; c < StepListModel::Comment; ++c) {
        const QString header = model_->headerData(c, Qt::Horizontal, Qt::DisplayRole).toString();
        view_->setColumnWidth(
            c, std::max(fm.horizontalAdvance(header),
                        fm.horizontalAdvance(typical[c]) + (c == StepListModel::Type ? 24 : 0)) +
                   16);
    }
}

void StepListDock::rowChosen(const QModelIndex& current) {
    if (syncing_ || !current.isValid() || !list_.documentOpen)
        return;
    const auto step = static_cast<std::uint32_t>(current.row() + 1);
    if (step == list_.currentNumber)
        return;
    list_.goToStep(step);
    emit currentStepChosen();
}

void StepListDock::refreshNodes() {
    const bool was = syncing_;
    syncing_ = true;
    model_->refreshNodes();
    syncing_ = was;
}

void StepListDock::sync(bool reload) {
    syncing_ = true;
    if (reload)
        model_->reload();
    const int row = static_cast<int>(list_.currentNumber) - 1;
    if (list_.documentOpen && row >= 0 && row < model_->rowCount()) {
        const QModelIndex index = model_->index(row, 0);
        if (view_->currentIndex().row() != row || reload) {
            // The row of the view's step is chosen alone unless it is one of
            // several chosen rows already.
            const bool keep = !reload && view_->selectionModel()->isRowSelected(row);
            view_->selectionModel()->setCurrentIndex(
                index, keep ? QItemSelectionModel::NoUpdate
                            : QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        }
        view_->scrollTo(index);
    }
    syncing_ = false;
}

void StepListDock::selectSteps(const std::vector<std::uint32_t>& steps) {
    syncing_ = true;
    QItemSelection selection;
    for (std::uint32_t s : steps) {
        const int row = static_cast<int>(s) - 1;
        if (row >= 0 && row < model_->rowCount())
            selection.select(model_->index(row, 0),
                             model_->index(row, StepListModel::ColumnCount - 1));
    }
    view_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    const int row = static_cast<int>(list_.currentNumber) - 1;
    if (row >= 0 && row < model_->rowCount())
        view_->selectionModel()->setCurrentIndex(model_->index(row, 0),
                                                 QItemSelectionModel::NoUpdate);
    syncing_ = false;
}

}  // namespace quelvari::app
