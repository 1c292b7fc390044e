// The detail beside the items of a drop-down list: drawn, asked for afresh, and the items untouched.
#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QComboBox>
#include <QImage>
#include <QTest>
#include <string>

#include "platform/controls.h"
#include "ui/qt/item_details.h"
#include "ui/qt/widget_builder.h"

namespace {

using namespace platform;

struct PortForm {
  Form form{"frmPorts", "Ports"};
  ComboBox& ports = form.Add<ComboBox>("cboPort");
  std::vector<std::string> details = {"", "/dev/ttyS0  16550A",
                                      "/dev/serial/by-id/usb-FTDI_FT232R_USB_UART-if00"};
  QComboBox* box = nullptr;

  PortForm() {
    ports.Move(10, 10, 320, 26);
    for (const char* name : {"Auto", "COM1", "COM3"}) ports.AddItem(name);
    ui_qt::BuildWindow(form);
    box = qobject_cast<QComboBox*>(ui_qt::WidgetOf(ports));
    ui_qt::ShowItemDetails(ports, [this](int index) {
      return index >= 0 && index < static_cast<int>(details.size()) ? details[static_cast<size_t>(index)]
                                                                    : "";
    });
    form.Show();
  }
  QImage Shot() const { return box->grab().toImage(); }
};

TEST(QtItemDetails, TheSelectedItemsDetailIsDrawnBesideItsText) {
  PortForm t;
  ASSERT_NE(t.box, nullptr);
  t.ports.SetListIndex(1);
  const QImage with_detail = t.Shot();
  EXPECT_EQ(t.box->currentText(), "COM1");  // the item's own text is what the program compares

  // The detail is asked for each time the box is drawn.
  t.details[1].clear();
  const QImage without_detail = t.Shot();
  EXPECT_NE(with_detail, without_detail);
  t.details[1] = "/dev/ttyS0  16550A";
  EXPECT_EQ(t.Shot(), with_detail);

  // An item without a detail looks as it would without any.
  t.ports.SetListIndex(0);
  const QImage auto_entry = t.Shot();
  t.details.assign(3, "");
  EXPECT_EQ(t.Shot(), auto_entry);
}

TEST(QtItemDetails, TheOpenListIsWideEnoughForTheLongestDetail) {
  PortForm t;
  QAbstractItemView* view = t.box->view();
  const QFontMetrics metrics = view->fontMetrics();
  const int needed =
      metrics.horizontalAdvance("COM1") + metrics.horizontalAdvance(QString::fromStdString(t.details[2]));
  EXPECT_GT(view->sizeHintForColumn(0), needed);
  EXPECT_GT(view->sizeHintForColumn(0), t.box->width());

  t.box->showPopup();
  EXPECT_TRUE(view->isVisible());
  EXPECT_GE(view->viewport()->width(), view->sizeHintForColumn(0));
  t.box->hidePopup();
  for (int i = 0; i < t.box->count(); ++i) EXPECT_EQ(t.box->itemText(i).toStdString(), t.ports.List(i));
}

}  // namespace
