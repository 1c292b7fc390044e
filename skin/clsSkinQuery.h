#pragma once
// The query object of the current skin library, and the skin form loaded from it.
//
// Errors are kept as one line in the program's form, the member's name, " - ", and the description
// ("OpenQuery - no registered skin library provides Skin9.Query"); loading and unloading a form report
// "LoadSkin - UnLoadSkin Error" with the cause in LastErrorDetail().

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/controls.h"
#include "skin/clsPlugins.h"
#include "skin/skin_form.h"

class clsSkinQuery {
 public:
  static constexpr const char* kLoadSkinError = "LoadSkin - UnLoadSkin Error";

  // `plugins` creates the query objects; it must outlive this object.
  explicit clsSkinQuery(clsPlugins& plugins) : plugins_(plugins) {}
  ~clsSkinQuery();
  clsSkinQuery(const clsSkinQuery&) = delete;
  clsSkinQuery& operator=(const clsSkinQuery&) = delete;

  // The query identifier of a skin name: the text up to and including its first "." followed by "Query"
  // ("Skin1.Main" gives "Skin1.Query"), or the name followed by ".Query" ("Skin1" gives "Skin1.Query").
  static std::string QueryIdentifier(const std::string& name);
  // The form part of a skin name: the text after its first "." (empty without one).
  static std::string FormName(const std::string& name);

  // Creates the query object of `name`'s library. Nothing is created again when its identifier is the
  // current one (compared without regard to case). False with "OpenQuery - ..." when it cannot be created;
  // the current query object is then dropped.
  bool OpenQuery(const std::string& name);
  // Drops the current query object (a library found to be no skin must not answer later opens).
  void CloseQuery();
  const std::string& Identifier() const { return identifier_; }
  bool HasQuery() const { return query_ != nullptr; }

  // The members of the current query object; "" and 0 without one.
  std::string SkinVersion() const;
  int QueryObjectCount() const;
  std::string QueryObjectName(int index) const;
  // The description of form `name`, valid while this query object is current; nullptr with
  // "GetObjects - ..." when the skin has no such form.
  const MsrSkinForm* GetObjects(const std::string& name);

  // Loads skin `name` ("<library>.<form>") into `owner`: opens the library's query; when the form differs
  // from the loaded one (by form name, or because the library changed), unloads the old form, builds the
  // new one from GetObjects and gives it to `owner` (SetSkinOwner). True when the skin form is loaded.
  bool LoadSkin(const std::string& name, platform::Control* owner);
  // Releases the loaded form from its owner and drops it. True also when none was loaded.
  bool UnLoadSkin();
  // The loaded skin form, or nullptr.
  SkinForm* GetSkinObj() const { return skin_.get(); }
  // The form name of the loaded skin ("" with none).
  const std::string& SkinName() const { return skin_name_; }
  // Problems that building the loaded form met (controls left out); empty for a sound skin.
  const std::vector<std::string>& BuildProblems() const { return build_problems_; }

  // Places `form` at the top-left corner of `owner` and shows it there; with no owner, hides it and
  // releases it. False with "SetSkinOwner - ..." when there is no form.
  bool SetSkinOwner(SkinForm* form, platform::Control* owner);

  // Called before a loaded form is dropped (by UnLoadSkin, or by LoadSkin replacing it), while its
  // controls still exist: registers bound to them must let go first (clsRegisters::ClearRegisters).
  // Not called when this object itself ends; its owner drops the registers before that.
  std::function<void()> OnUnloading;

  // The last error line and, for "LoadSkin - UnLoadSkin Error", its cause.
  const std::string& LastError() const { return last_error_; }
  const std::string& LastErrorDetail() const { return last_error_detail_; }

 private:
  bool Fail(const std::string& line, std::string detail = {});

  clsPlugins& plugins_;
  std::unique_ptr<SkinQueryObject> query_;
  std::string identifier_;
  std::unique_ptr<SkinForm> skin_;
  std::string skin_name_;
  std::string skin_identifier_;  // the query identifier the loaded form came from
  std::vector<std::string> build_problems_;
  std::string last_error_;
  std::string last_error_detail_;
};
