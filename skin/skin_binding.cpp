#include "skin/skin_binding.h"

std::string ParseItemTag(const std::string& tag) {
  static constexpr const char kItem[] = "Item:";
  const std::string text = tag + " ";
  const size_t at = text.find(kItem);
  if (at == std::string::npos) return {};
  const size_t start = at + sizeof kItem - 1;
  return text.substr(start, text.find(' ', start) - start);
}

bool IsRegisterControl(const platform::Control& control) {
  switch (control.Kind()) {
    case platform::ControlKind::kTextBox:
    case platform::ControlKind::kComboBox:
    case platform::ControlKind::kCheckBox:
      return true;
    default:
      return false;
  }
}

std::vector<std::string> BindSkinForm(platform::Control& form, clsRegisters& registers,
                                      const std::string& definition_file,
                                      const std::function<void(const std::string&)>& status) {
  if (status) status("Load skin...");
  registers.ClearRegisters();
  registers.ClearMaskMap();
  registers.SetINIFile(definition_file);
  std::vector<std::string> bound;
  for (platform::Control* control : form.Descendants()) {
    if (!IsRegisterControl(*control)) continue;
    const std::string name = ParseItemTag(control->Tag());
    if (name.empty()) continue;
    registers.AddRegister(name, control);
    bound.push_back(name);
  }
  if (status) status("Load skin finish");
  return bound;
}
