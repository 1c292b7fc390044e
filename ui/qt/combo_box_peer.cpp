// The drop-down list: the person's pick goes to the control, which raises Click; the list and the
// selection shown are always the control's.

#include <QComboBox>

#include "ui/qt/peers.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using platform::ControlProperty;

class ComboBoxPeer final : public PeerWidget<QComboBox> {
 public:
  ComboBoxPeer(platform::ComboBox& combo, QWidget* parent) : PeerWidget(combo, parent) {
    setEditable(false);
    // Long port descriptions must not make the whole row as wide as the longest one.
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(8);
    // `activated` comes from the person only (list, arrow keys, wheel); changes made while mirroring
    // are silenced anyway, so they never come back as a person's pick.
    connect(this, &QComboBox::activated, [this](int index) {
      auto* model = ModelAs<platform::ComboBox>();
      if (!model) return;
      model->UserSelect(index);
      if (ModelAs<platform::ComboBox>()) ShowSelection();  // the control may have refused
    });
  }

 private:
  bool Mirror(ControlProperty what) override {
    if (what == ControlProperty::kItems) {
      ShowItems();
    } else if (what == ControlProperty::kSelection) {
      ShowSelection();
    } else {
      return false;
    }
    return true;
  }

  void ShowItems() {
    const auto* model = ModelAs<platform::ComboBox>();
    const QSignalBlocker quiet(this);
    clear();
    for (int i = 0; i < model->ListCount(); ++i) addItem(ToQt(model->List(i)), model->ItemData(i));
    setCurrentIndex(model->ListIndex());
  }

  void ShowSelection() {
    const QSignalBlocker quiet(this);
    setCurrentIndex(ModelAs<platform::ComboBox>()->ListIndex());
  }
};

}  // namespace

PeerBase* CreateComboBoxPeer(platform::ComboBox& combo, QWidget* parent) {
  return new ComboBoxPeer(combo, parent);
}

}  // namespace ui_qt
