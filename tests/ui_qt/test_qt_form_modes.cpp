// Forms shown other ways than as a window of their own: as a modal dialog over the window the person is
// in, and embedded in a control of another form (a skin's pages in the main window's skin area).
#include <gtest/gtest.h>

#include <QApplication>
#include <QCoreApplication>
#include <QLineEdit>
#include <QTest>
#include <memory>

#include "platform/controls.h"
#include "ui/qt/embedded_form.h"
#include "ui/qt/widget_builder.h"

namespace {

using namespace platform;
using ui_qt::WidgetOf;

void DeleteLaterNow() {
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST(QtFormModes, AModalFormIsADialogOverTheWindowThatIsOpen) {
  auto main = std::make_unique<Form>("frmMain", "Main");
  main->Move(100, 100, 600, 400);
  auto dialog = std::make_unique<Form>("frmAsk", "Ask");
  dialog->Add<TextBox>("txtName");
  dialog->Move(0, 0, 200, 100);
  dialog->SetModal(true);
  auto note = std::make_unique<Form>("frmNote", "Note");
  ui_qt::BuildWindow(*main);
  QWidget* dialog_window = ui_qt::BuildWindow(*dialog);
  QWidget* note_window = ui_qt::BuildWindow(*note);
  main->Show();

  dialog->Show();
  EXPECT_EQ(dialog_window->windowModality(), Qt::ApplicationModal);
  EXPECT_EQ(QApplication::activeModalWidget(), dialog_window);
  EXPECT_EQ(dialog_window->parentWidget(), WidgetOf(*main));
  EXPECT_TRUE(dialog_window->isWindow());
  // Over the middle of the main window (give or take the frames).
  EXPECT_LE((dialog_window->geometry().center() - WidgetOf(*main)->geometry().center()).manhattanLength(), 4);
  dialog->Hide();
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);

  // An ordinary form is not modal, and a form that stops being modal is not either the next time.
  note->Show();
  EXPECT_EQ(note_window->windowModality(), Qt::NonModal);
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  note->Hide();
  dialog->SetModal(false);
  dialog->Show();
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  dialog->Hide();

  // The dialog goes with its form, also while it belongs to another window.
  dialog.reset();
  DeleteLaterNow();
  EXPECT_TRUE(WidgetOf(*main)->findChildren<QLineEdit*>().isEmpty());
}

TEST(QtFormModes, AnEmbeddedFormLivesInsideItsOwnersWidgetUntilItGoes) {
  Form main("frmMain", "Main");
  Container& area = main.Add<Container>("picBack");
  area.Move(10, 40, 400, 300);
  ui_qt::BuildWindow(main);
  main.Show();

  auto pages = std::make_unique<Form>("frmPages");
  TextBox& field = pages->Add<TextBox>("txtSuffix");
  pages->Move(0, 0, 300, 200);
  pages->Show();  // shown before it has widgets, as a skin form is when it gets its owner
  QWidget* embedded = ui_qt::EmbedForm(*pages, area);
  ASSERT_NE(embedded, nullptr);
  EXPECT_FALSE(embedded->isWindow());
  EXPECT_EQ(embedded->parentWidget(), WidgetOf(area));
  EXPECT_TRUE(embedded->isVisible());
  EXPECT_EQ(embedded->geometry(), QRect(0, 0, 300, 200));
  EXPECT_TRUE(embedded->isAncestorOf(WidgetOf(field)));
  // Once there, it stays where it is; controls added later get their widgets there too.
  TextBox& later = pages->Add<TextBox>("txtPrefix");
  EXPECT_EQ(ui_qt::EmbedForm(*pages, area), embedded);
  EXPECT_TRUE(embedded->isAncestorOf(WidgetOf(later)));

  ui_qt::ReleaseForm(*pages);
  EXPECT_FALSE(embedded->isVisible());
  QPointer<QWidget> watched(embedded);
  pages.reset();
  DeleteLaterNow();
  EXPECT_TRUE(watched.isNull());
  // Without widgets for the owner there is nowhere to go.
  Form other("frmOther");
  Container& loose = other.Add<Container>("picLoose");
  Form orphan("frmOrphan");
  EXPECT_EQ(ui_qt::EmbedForm(orphan, loose), nullptr);
}

}  // namespace
