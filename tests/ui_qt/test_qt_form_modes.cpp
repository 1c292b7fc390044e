// Forms shown other ways than as a window of their own: a modal dialog over the window that is open, and
// a form embedded in another form's control (a skin's pages in the skin area).
#include <gtest/gtest.h>

#include <QApplication>
#include <QPointer>

#include "platform/controls.h"
#include "ui/qt/embedded_form.h"
#include "ui/qt/widget_builder.h"

namespace {

using namespace platform;
using ui_qt::WidgetOf;

TEST(QtFormModes, AModalFormIsADialogOverTheWindowThatIsOpen) {
  Form main("frmMain", "Main");
  main.Move(100, 100, 600, 400);
  Form dialog("frmAsk", "Ask");
  dialog.Move(0, 0, 200, 100);
  dialog.SetModal(true);
  ui_qt::BuildWindow(main);
  QWidget* dialog_window = ui_qt::BuildWindow(dialog);
  main.Show();

  dialog.Show();
  EXPECT_EQ(QApplication::activeModalWidget(), dialog_window);
  EXPECT_EQ(dialog_window->parentWidget(), WidgetOf(main));  // stays above it
  EXPECT_TRUE(dialog_window->isWindow());
  EXPECT_LE((dialog_window->geometry().center() - WidgetOf(main)->geometry().center()).manhattanLength(), 4);
  dialog.Hide();
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  // No longer modal from its next showing on.
  dialog.SetModal(false);
  dialog.Show();
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST(QtFormModes, AnEmbeddedFormLivesInsideItsOwnersWidgetUntilItGoes) {
  Form main("frmMain", "Main");
  Container& area = main.Add<Container>("picBack");
  area.Move(10, 40, 400, 300);
  ui_qt::BuildWindow(main);
  main.Show();
  auto pages = std::make_unique<Form>("frmPages");
  pages->Move(0, 0, 300, 200);
  pages->Show();  // shown before it has widgets, as a skin form is when it gets its owner

  QWidget* embedded = ui_qt::EmbedForm(*pages, area);
  ASSERT_NE(embedded, nullptr);
  EXPECT_EQ(embedded->parentWidget(), WidgetOf(area));
  EXPECT_TRUE(embedded->isVisible() && !embedded->isWindow());
  EXPECT_EQ(embedded->geometry(), QRect(0, 0, 300, 200));
  // Controls added later get their widgets there too.
  TextBox& field = pages->Add<TextBox>("txtPrefix");
  EXPECT_EQ(ui_qt::EmbedForm(*pages, area), embedded);
  EXPECT_TRUE(embedded->isAncestorOf(WidgetOf(field)));

  ui_qt::ReleaseForm(*pages);
  EXPECT_FALSE(embedded->isVisible());
  QPointer<QWidget> watched(embedded);
  pages.reset();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_TRUE(watched.isNull());
}

}  // namespace
