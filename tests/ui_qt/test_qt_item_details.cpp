// The detail beside the items of a drop-down list.
#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QComboBox>

#include "platform/controls.h"
#include "ui/qt/item_details.h"
#include "ui/qt/widget_builder.h"

namespace {

TEST(QtItemDetails, DrawnBesideTheItemsWhichKeepTheirOwnText) {
  platform::Form form("frmPorts");
  platform::ComboBox& ports = form.Add<platform::ComboBox>("cboPort");
  ports.Move(10, 10, 200, 26);
  for (const char* name : {"Auto", "COM1"}) ports.AddItem(name);
  ui_qt::BuildWindow(form);
  auto* box = qobject_cast<QComboBox*>(ui_qt::WidgetOf(ports));
  const std::string long_detail = "/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A9J3K-if00-port0";
  std::string detail;  // asked for each time an item is drawn
  ui_qt::ShowItemDetails(ports, [&](int index) { return index == 1 ? detail : ""; });
  form.Show();
  ports.SetListIndex(1);

  const QImage plain = box->grab().toImage();
  detail = "/dev/ttyS0";
  EXPECT_NE(box->grab().toImage(), plain);
  EXPECT_EQ(box->currentText(), "COM1");

  // The open list is as wide as its longest detail.
  detail = long_detail;
  QAbstractItemView* list = box->view();
  EXPECT_GT(list->sizeHintForColumn(0),
            list->fontMetrics().horizontalAdvance(QString::fromStdString(detail)));
  box->showPopup();
  EXPECT_GE(list->viewport()->width(), list->sizeHintForColumn(0));
  box->hidePopup();
}

}  // namespace
