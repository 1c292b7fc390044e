#include "ui/qt/placement.h"

#include <QFormLayout>
#include <QLabel>
#include <algorithm>

#include "ui/qt/peer_base.h"

namespace ui_qt {

namespace {

using platform::ControlKind;

// Room kept between the furthest child and the parent's edge when a parent grows to show its children.
constexpr int kEdgeMargin = 6;

bool TakesWholeRow(ControlKind kind) {
  return kind == ControlKind::kFrame || kind == ControlKind::kContainer || kind == ControlKind::kTabControl ||
         kind == ControlKind::kRichText;
}

// The row layout of `area`, created on first use; nullptr when the area has a layout of another kind.
QFormLayout* RowsOf(QWidget& area) {
  if (!area.layout()) {
    auto* rows = new QFormLayout(&area);
    // Fields take the width there is: long combo lists and text values stay readable.
    rows->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    return rows;
  }
  return qobject_cast<QFormLayout*>(area.layout());
}

// The row whose label still waits for its control, or -1.
int OpenLabelRow(const QFormLayout& rows) {
  const int last = rows.rowCount() - 1;
  if (last < 0 || rows.itemAt(last, QFormLayout::FieldRole)) return -1;
  const QLayoutItem* label = rows.itemAt(last, QFormLayout::LabelRole);
  return label && qobject_cast<QLabel*>(label->widget()) ? last : -1;
}

}  // namespace

bool HasPlacement(const platform::Control& control) {
  return control.Left() != 0 || control.Top() != 0 || control.Width() != 0 || control.Height() != 0;
}

void PlaceAbsolute(QWidget& widget, const platform::Control& control) {
  QWidget* area = widget.parentWidget();
  if (!area) return;
  if (QLayout* layout = area->layout()) layout->removeWidget(&widget);
  const QSize preferred = widget.sizeHint();
  const QRect rect(control.Left(), control.Top(), control.Width() > 0 ? control.Width() : preferred.width(),
                   control.Height() > 0 ? control.Height() : preferred.height());
  widget.setGeometry(rect);
  const QSize needed(rect.right() + 1 + kEdgeMargin, rect.bottom() + 1 + kEdgeMargin);
  area->setMinimumSize(area->minimumSize().expandedTo(needed));
}

void PlaceInRows(QWidget& widget, ControlKind kind) {
  QWidget* area = widget.parentWidget();
  if (!area) return;
  QFormLayout* rows = RowsOf(*area);
  if (!rows || rows->indexOf(&widget) >= 0) return;
  if (kind == ControlKind::kLabel) {
    rows->insertRow(rows->rowCount(), &widget, static_cast<QWidget*>(nullptr));
    return;
  }
  const int open_row = TakesWholeRow(kind) ? -1 : OpenLabelRow(*rows);
  if (open_row < 0) {
    rows->addRow(&widget);
    return;
  }
  rows->setWidget(open_row, QFormLayout::FieldRole, &widget);
  // The label's mnemonic ("&Baud rate") then moves the focus to its control; the caption is shown again
  // so that the mnemonic is underlined instead of printed.
  if (auto* label = qobject_cast<QLabel*>(rows->itemAt(open_row, QFormLayout::LabelRole)->widget())) {
    label->setBuddy(&widget);
    if (auto* peer = dynamic_cast<PeerBase*>(label)) peer->ModelChanged(platform::ControlProperty::kCaption);
  }
}

}  // namespace ui_qt
