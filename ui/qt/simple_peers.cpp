// Peers of the controls that only show state or report a click: labels, buttons, frames, containers,
// progress bars and check boxes.

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "ui/qt/peers.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using platform::ControlProperty;

// "&Port" shows as "Port", "&&" as "&": what a label with a mnemonic shows when it has no control the
// mnemonic could move to (Qt would show the ampersand itself).
QString WithoutMnemonics(const QString& caption) {
  QString shown;
  for (qsizetype i = 0; i < caption.size(); ++i) {
    if (caption[i] == QLatin1Char('&') && i + 1 < caption.size()) ++i;
    shown += caption[i];
  }
  return shown;
}

class LabelPeer final : public PeerWidget<QLabel> {
 public:
  LabelPeer(platform::Label& label, QWidget* parent) : PeerWidget(label, parent) {
    // Captions are plain text: "<STX>" or "a < b" must not turn into markup.
    setTextFormat(Qt::PlainText);
  }

 private:
  bool Mirror(ControlProperty what) override {
    if (what != ControlProperty::kCaption) return false;
    const QString caption = ToQt(ModelAs<platform::Label>()->Caption());
    setText(buddy() ? caption : WithoutMnemonics(caption));
    return true;
  }
};

class ButtonPeer final : public PeerWidget<QPushButton> {
 public:
  ButtonPeer(platform::Button& button, QWidget* parent) : PeerWidget(button, parent) {
    // Every button is reached with Tab as well as by its "&" mnemonic.
    setFocusPolicy(Qt::StrongFocus);
    // Drawn as the button Enter presses; the form, not Qt, does the pressing.
    setDefault(button.IsDefault());
    setAutoDefault(false);
    connect(this, &QPushButton::clicked, [this] {
      if (auto* model = ModelAs<platform::Button>()) model->UserClick();
    });
  }

 private:
  bool Mirror(ControlProperty what) override {
    if (what != ControlProperty::kCaption) return false;
    setText(ToQt(ModelAs<platform::Button>()->Caption()));
    return true;
  }
};

class FramePeer final : public PeerWidget<QGroupBox> {
 public:
  FramePeer(platform::Frame& frame, QWidget* parent) : PeerWidget(frame, parent) {}

 private:
  bool Mirror(ControlProperty what) override {
    if (what != ControlProperty::kCaption) return false;
    setTitle(ToQt(ModelAs<platform::Frame>()->Caption()));
    return true;
  }
};

class ContainerPeer final : public PeerWidget<QWidget> {
 public:
  ContainerPeer(platform::Container& container, QWidget* parent) : PeerWidget(container, parent) {}

 private:
  bool Mirror(ControlProperty) override { return false; }
};

class ProgressBarPeer final : public PeerWidget<QProgressBar> {
 public:
  ProgressBarPeer(platform::ProgressBar& bar, QWidget* parent) : PeerWidget(bar, parent) {
    setTextVisible(false);  // a bar, as on the classic form; the terminal view says what is going on
  }

 private:
  bool Mirror(ControlProperty what) override {
    const auto* model = ModelAs<platform::ProgressBar>();
    if (what == ControlProperty::kRange) {
      setRange(model->Min(), model->Max());
    } else if (what == ControlProperty::kValue) {
      setValue(model->Value());
    } else {
      return false;
    }
    return true;
  }
};

class CheckBoxPeer final : public PeerWidget<QCheckBox> {
 public:
  CheckBoxPeer(platform::CheckBox& check, QWidget* parent) : PeerWidget(check, parent) {
    // The widget toggles itself first; the control decides, and its value is shown again either way
    // (a disabled control or a grayed one that turns checked).
    connect(this, &QCheckBox::clicked, [this] {
      auto* model = ModelAs<platform::CheckBox>();
      if (!model) return;
      model->UserClick();
      if (ModelAs<platform::CheckBox>()) ShowValue();
    });
  }

 private:
  bool Mirror(ControlProperty what) override {
    if (what == ControlProperty::kCaption) {
      setText(ToQt(ModelAs<platform::CheckBox>()->Caption()));
    } else if (what == ControlProperty::kValue) {
      ShowValue();
    } else {
      return false;
    }
    return true;
  }

  void ShowValue() {
    const int value = ModelAs<platform::CheckBox>()->Value();
    const QSignalBlocker quiet(this);
    // Grayed is a third state only the program sets; a click never leads into it.
    setTristate(value == platform::CheckBox::kGrayed);
    setCheckState(value == platform::CheckBox::kChecked  ? Qt::Checked
                  : value == platform::CheckBox::kGrayed ? Qt::PartiallyChecked
                                                         : Qt::Unchecked);
  }
};

}  // namespace

PeerBase* CreateLabelPeer(platform::Label& label, QWidget* parent) {
  return new LabelPeer(label, parent);
}
PeerBase* CreateButtonPeer(platform::Button& button, QWidget* parent) {
  return new ButtonPeer(button, parent);
}
PeerBase* CreateFramePeer(platform::Frame& frame, QWidget* parent) {
  return new FramePeer(frame, parent);
}
PeerBase* CreateContainerPeer(platform::Container& container, QWidget* parent) {
  return new ContainerPeer(container, parent);
}
PeerBase* CreateProgressBarPeer(platform::ProgressBar& bar, QWidget* parent) {
  return new ProgressBarPeer(bar, parent);
}
PeerBase* CreateCheckBoxPeer(platform::CheckBox& check, QWidget* parent) {
  return new CheckBoxPeer(check, parent);
}

}  // namespace ui_qt
