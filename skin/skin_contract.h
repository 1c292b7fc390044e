#pragma once
// The contract between msrcfg and a skin plug-in. A skin is a shared library in the program's Skin folder;
// it includes this header and nothing else of the program, and links nothing of it.
//
// A skin exports, with C linkage (MSR_SKIN_EXPORT):
//   int DllRegisterServer(void);        0 on success. Called once when the host takes the library up.
//   int DllUnregisterServer(void);      0 on success. Called when the host drops a library that is no skin.
//   int MsrSkinContractVersion(void);   kMsrSkinContractVersion as the skin was built with it.
//   MsrSkinQuery* MsrSkinCreateQuery(int host_contract_version);
//                                       a new query object, or nullptr (for example when the host's contract
//                                       version is one the skin does not speak).
//   void MsrSkinReleaseQuery(MsrSkinQuery* query);
//                                       destroys an object of MsrSkinCreateQuery. The host never deletes one
//                                       itself, so a skin is free to allocate as it likes.
//
// The host reads MsrSkinContractVersion before it calls anything else and leaves a library of another
// version alone. Raise kMsrSkinContractVersion whenever a type below changes its layout or a virtual
// function is added, removed or reordered.
//
// A form is described, not built: the host builds it with whatever control back end is running (a window
// toolkit, or none in console mode and tests). Descriptions are plain data with C strings, so a skin can
// keep them in constant tables; the host copies what it needs while the library is loaded and keeps no
// pointer into the skin afterwards.

#include <cstdint>

inline constexpr int kMsrSkinContractVersion = 1;

// Text that a skin's SkinVersion contains, so that the host can tell skins from other libraries.
inline constexpr const char* kMsrSkinVersionMark = "MSR Skin";

// Exported names, for the host's symbol look-up.
inline constexpr const char* kMsrSkinRegisterSymbol = "DllRegisterServer";
inline constexpr const char* kMsrSkinUnregisterSymbol = "DllUnregisterServer";
inline constexpr const char* kMsrSkinContractVersionSymbol = "MsrSkinContractVersion";
inline constexpr const char* kMsrSkinCreateQuerySymbol = "MsrSkinCreateQuery";
inline constexpr const char* kMsrSkinReleaseQuerySymbol = "MsrSkinReleaseQuery";

#define MSR_SKIN_EXPORT extern "C" __attribute__((visibility("default")))

// One entry of a fixed list: the text shown and the number it stands for.
struct MsrSkinListItem {
  const char* text = nullptr;
  int32_t data = 0;
};

// One control of a form.
struct MsrSkinControl {
  // "TextBox", "ComboBox", "CheckBox" (these can edit a register), "Label" or "Frame" (layout only).
  const char* kind = nullptr;
  // Unique within the form.
  const char* name = nullptr;
  // A check box's or frame's own caption; for a text box or combo box the host puts it on a label in front
  // of the control; a label shows it.
  const char* caption = nullptr;
  // "Item:<section>" binds the control to the register defined in that section of the skin's definition
  // file. Text after a blank is free for the skin's own use ("Item:Baudrate main").
  const char* tag = nullptr;
  // The tab of the form's tab control that shows the control (from 0).
  int tab = 0;
  // The name of a "Frame" described earlier on the same tab that holds the control; nullptr for none.
  const char* frame = nullptr;
  // Fixed entries of a combo box. A combo box bound to a register usually leaves this empty: the host fills
  // it from the register's definition.
  const MsrSkinListItem* items = nullptr;
  int item_count = 0;
  // Position and size in pixels, relative to the tab page or frame. A width or height of 0 leaves the
  // control to the host's automatic layout (rows from the top, label left, control right).
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// One form of a skin: a tab control with its tabs, and the controls on them.
struct MsrSkinForm {
  const char* name = nullptr;
  const char* caption = nullptr;
  // The tab control's name; the host finds it by its type "SSTab", not by this name.
  const char* tab_control_name = nullptr;
  const char* const* tab_captions = nullptr;
  int tab_count = 0;
  const MsrSkinControl* controls = nullptr;
  int control_count = 0;
};

// The query object of a skin. The host calls it only on its own thread.
class MsrSkinQuery {
 public:
  // Contains kMsrSkinVersionMark, for example "MSR Skin KRD 1.0".
  virtual const char* SkinVersion() const = 0;
  // The number of forms and the name of form `index` (nullptr outside 0 .. count-1).
  virtual int QueryObjectCount() const = 0;
  virtual const char* QueryObjectName(int index) const = 0;
  // The form called `name` (compared without regard to case), or nullptr when the skin has none such.
  // The description stays valid as long as the query object.
  virtual const MsrSkinForm* GetObjects(const char* name) const = 0;

 protected:
  // Only MsrSkinReleaseQuery of the skin that made the object destroys it.
  virtual ~MsrSkinQuery() = default;
};

// Function types of the exports, for the host.
extern "C" {
typedef int (*MsrSkinRegisterFunction)(void);
typedef int (*MsrSkinContractVersionFunction)(void);
typedef MsrSkinQuery* (*MsrSkinCreateQueryFunction)(int host_contract_version);
typedef void (*MsrSkinReleaseQueryFunction)(MsrSkinQuery* query);
}

// A ready-made query object over constant tables, for skins whose forms never change. A skin defines its
// forms as constant data and exports every entry point with one line:
//   static const MsrSkinForm* const kForms[] = {&kMainForm};
//   MSR_SKIN_TABLE_ENTRY_POINTS("MSR Skin Example 1.0", kForms)
class MsrSkinTableQuery final : public MsrSkinQuery {
 public:
  MsrSkinTableQuery(const char* version, const MsrSkinForm* const* forms, int count)
      : version_(version), forms_(forms), count_(count) {}
  ~MsrSkinTableQuery() override = default;

  const char* SkinVersion() const override { return version_; }
  int QueryObjectCount() const override { return count_; }
  const char* QueryObjectName(int index) const override {
    return index >= 0 && index < count_ ? forms_[index]->name : nullptr;
  }
  const MsrSkinForm* GetObjects(const char* name) const override {
    if (name == nullptr) return nullptr;
    for (int i = 0; i < count_; ++i) {
      if (SameName(forms_[i]->name, name)) return forms_[i];
    }
    return nullptr;
  }

 private:
  static bool SameName(const char* a, const char* b) {
    for (;; ++a, ++b) {
      const char ca = (*a >= 'a' && *a <= 'z') ? static_cast<char>(*a - 'a' + 'A') : *a;
      const char cb = (*b >= 'a' && *b <= 'z') ? static_cast<char>(*b - 'a' + 'A') : *b;
      if (ca != cb) return false;
      if (ca == '\0') return true;
    }
  }

  const char* version_;
  const MsrSkinForm* const* forms_;
  int count_;
};

// The five entry points of a skin whose forms are the constant table `forms`. Registering records nothing:
// the program keeps its own table of the skins it has taken up.
#define MSR_SKIN_TABLE_ENTRY_POINTS(version_text, forms)                                                 \
  MSR_SKIN_EXPORT int DllRegisterServer(void) {                                                          \
    return 0;                                                                                            \
  }                                                                                                      \
  MSR_SKIN_EXPORT int DllUnregisterServer(void) {                                                        \
    return 0;                                                                                            \
  }                                                                                                      \
  MSR_SKIN_EXPORT int MsrSkinContractVersion(void) {                                                     \
    return kMsrSkinContractVersion;                                                                      \
  }                                                                                                      \
  MSR_SKIN_EXPORT MsrSkinQuery* MsrSkinCreateQuery(int host_contract_version) {                          \
    if (host_contract_version != kMsrSkinContractVersion) return nullptr;                                \
    return new MsrSkinTableQuery(version_text, forms, static_cast<int>(sizeof forms / sizeof forms[0])); \
  }                                                                                                      \
  MSR_SKIN_EXPORT void MsrSkinReleaseQuery(MsrSkinQuery* query) {                                        \
    delete static_cast<MsrSkinTableQuery*>(query);                                                       \
  }
