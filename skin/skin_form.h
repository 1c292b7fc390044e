#pragma once
// A skin's form as the program holds it: the controls built from the skin's description, and the window
// that owns it while it is shown (the main window's skin area, "picBack").

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/controls.h"
#include "skin/skin_contract.h"

class SkinForm : public platform::Form {
 public:
  explicit SkinForm(std::string name, std::string caption = {}) : Form(std::move(name), std::move(caption)) {}

  // The control the form is shown in; nullptr while it is not owned. A window back end places the form's
  // own window inside the owner's when OnOwnerChanged fires.
  platform::Control* Owner() const { return owner_; }
  void SetOwner(platform::Control* owner) {
    owner_ = owner;
    if (OnOwnerChanged) OnOwnerChanged();
  }
  std::function<void()> OnOwnerChanged;

  // The form's tab control (type "SSTab"), or nullptr when the skin has none.
  platform::TabControl* SSTab();

 private:
  platform::Control* owner_ = nullptr;
};

// Automatic layout, in pixels.
struct SkinLayout {
  static constexpr int kMargin = 8;
  static constexpr int kTabHeader = 28;  // the row of tab captions above the pages
  static constexpr int kRowHeight = 28;
  static constexpr int kControlHeight = 22;
  static constexpr int kLabelWidth = 170;
  static constexpr int kControlWidth = 180;
  static constexpr int kFrameCaption = 20;  // room for a frame's caption above its first row
};

// Builds the form that `description` describes: a form with one tab control carrying the tabs, and every
// control on its tab (inside its frame when it names one), laid out in rows where the skin gives no
// geometry. Text boxes and combo boxes get a label with their caption in front ("lbl" + name). Strings
// are copied; nothing of the description is kept. What cannot be built (an unknown kind, a tab or frame
// that does not exist) is left out and described in `problems`, so that a faulty skin still shows the
// rest of its form.
std::unique_ptr<SkinForm> BuildSkinForm(const MsrSkinForm& description,
                                        std::vector<std::string>* problems = nullptr);
