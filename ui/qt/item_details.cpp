#include "ui/qt/item_details.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QHelpEvent>
#include <QPainter>
#include <QScreen>
#include <QScrollBar>
#include <QStyleOptionComboBox>
#include <QStyledItemDelegate>
#include <QToolTip>
#include <algorithm>

#include "ui/qt/text_codec.h"
#include "ui/qt/widget_builder.h"

namespace ui_qt {

namespace {

// Room between an item's text and its detail.
constexpr int kGap = 16;

QColor DimmedColour(const QPalette& palette, bool selected, bool enabled) {
  if (!enabled) return palette.color(QPalette::Disabled, QPalette::Text);
  return selected ? palette.color(QPalette::HighlightedText) : palette.color(QPalette::PlaceholderText);
}

// The details of one list, shared by the open list's delegate and the closed box's filter.
class Details final : public QObject {
 public:
  Details(QComboBox& combo, ItemDetail detail) : QObject(&combo), combo_(combo), detail_(std::move(detail)) {}

  void Replace(ItemDetail detail) { detail_ = std::move(detail); }
  QString Of(int index) const {
    return index >= 0 && index < combo_.count() && detail_ ? ToQt(detail_(index)) : QString();
  }
  // The details of the open list start in one column, after the widest item text.
  int ColumnOffset(const QFontMetrics& metrics) const {
    int widest = 0;
    for (int i = 0; i < combo_.count(); ++i)
      widest = std::max(widest, metrics.horizontalAdvance(combo_.itemText(i)));
    return widest + kGap;
  }
  QComboBox& Combo() const { return combo_; }

 private:
  QComboBox& combo_;
  ItemDetail detail_;
};

class DetailDelegate final : public QStyledItemDelegate {
 public:
  explicit DetailDelegate(const Details& details)
      : QStyledItemDelegate(&details.Combo()), details_(details) {}

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    QStyledItemDelegate::paint(painter, option, index);
    const QString detail = details_.Of(index.row());
    if (detail.isEmpty()) return;
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QStyle* style = item.widget ? item.widget->style() : details_.Combo().style();
    QRect area = style->subElementRect(QStyle::SE_ItemViewItemText, &item, item.widget);
    area.setLeft(area.left() + details_.ColumnOffset(item.fontMetrics));
    if (area.width() <= 0) return;
    painter->save();
    painter->setPen(
        DimmedColour(item.palette, item.state & QStyle::State_Selected, item.state & QStyle::State_Enabled));
    painter->drawText(area, Qt::AlignLeft | Qt::AlignVCenter,
                      item.fontMetrics.elidedText(detail, Qt::ElideRight, area.width()));
    painter->restore();
  }

  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    const QString detail = details_.Of(index.row());
    if (detail.isEmpty()) return size;
    const QFontMetrics& metrics = option.fontMetrics;
    const int text = metrics.horizontalAdvance(index.data(Qt::DisplayRole).toString());
    size.setWidth(size.width() - text + details_.ColumnOffset(metrics) + metrics.horizontalAdvance(detail));
    return size;
  }

  bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                 const QModelIndex& index) override {
    const QString detail = details_.Of(index.row());
    if (event->type() != QEvent::ToolTip || detail.isEmpty()) {
      return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    QToolTip::showText(event->globalPos(), detail, view);
    return true;
  }

 private:
  const Details& details_;
};

// The closed box: the combo box paints itself, then the selected item's detail follows its text. The
// open list gets as wide as its details need.
class DetailFilter final : public QObject {
 public:
  explicit DetailFilter(const Details& details) : QObject(&details.Combo()), details_(details) {}

  bool eventFilter(QObject* watched, QEvent* event) override {
    QComboBox& combo = details_.Combo();
    // Events still arrive while the box is being destroyed, when it is no longer a QComboBox: ask it for
    // its list only when a list is what is being shown.
    if (event->type() == QEvent::Show && qobject_cast<QAbstractItemView*>(watched) != nullptr &&
        watched == combo.view()) {
      WidenPopup(combo);
      return false;
    }
    if (watched != &combo) return false;
    if (event->type() == QEvent::Paint) {
      // The box's own painting first (QObject::event is the public way in), then the detail over it.
      static_cast<QObject&>(combo).event(event);
      PaintDetail(combo);
      return true;
    }
    if (event->type() == QEvent::ToolTip) {
      const QString detail = details_.Of(combo.currentIndex());
      if (detail.isEmpty()) {
        QToolTip::hideText();
      } else {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), detail, &combo);
      }
      return true;
    }
    return false;
  }

 private:
  void PaintDetail(QComboBox& combo) const {
    const QString detail = details_.Of(combo.currentIndex());
    if (detail.isEmpty()) return;
    QStyleOptionComboBox option;
    option.initFrom(&combo);
    option.frame = combo.hasFrame();
    option.currentText = combo.currentText();
    QRect area =
        combo.style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, &combo);
    const QFontMetrics metrics = combo.fontMetrics();
    area.setLeft(area.left() + metrics.horizontalAdvance(combo.currentText()) + kGap);
    if (area.width() <= metrics.averageCharWidth() * 3) return;
    QPainter painter(&combo);
    painter.setPen(DimmedColour(combo.palette(), false, combo.isEnabled()));
    painter.drawText(area, Qt::AlignLeft | Qt::AlignVCenter,
                     metrics.elidedText(detail, Qt::ElideRight, area.width()));
  }

  static void WidenPopup(QComboBox& combo) {
    QAbstractItemView* view = combo.view();
    QWidget* popup = view->window();
    if (popup == combo.window()) return;
    const int missing = view->sizeHintForColumn(0) - view->viewport()->width();
    if (missing <= 0) return;
    QRect frame = popup->geometry();
    frame.setWidth(frame.width() + missing);
    // Kept on the screen: a list near the right edge grows to the left.
    if (const QScreen* screen = combo.screen()) {
      const QRect room = screen->availableGeometry();
      if (frame.right() > room.right()) frame.moveRight(room.right());
      if (frame.left() < room.left()) frame.moveLeft(room.left());
    }
    popup->setGeometry(frame);
  }

  const Details& details_;
};

}  // namespace

void ShowItemDetails(platform::ComboBox& combo, ItemDetail detail) {
  auto* box = qobject_cast<QComboBox*>(WidgetOf(combo));
  if (box == nullptr) return;
  // Not a Q_OBJECT class, so findChild cannot tell it apart from other children.
  for (QObject* child : box->children()) {
    if (auto* details = dynamic_cast<Details*>(child)) {
      details->Replace(std::move(detail));
      box->update();
      return;
    }
  }
  // The list's popup exists before the details: it is destroyed first, so it never draws without them.
  box->view();
  auto* details = new Details(*box, std::move(detail));
  box->setItemDelegate(new DetailDelegate(*details));
  auto* filter = new DetailFilter(*details);
  box->installEventFilter(filter);
  box->view()->installEventFilter(filter);
}

}  // namespace ui_qt
