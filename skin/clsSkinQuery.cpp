#include "skin/clsSkinQuery.h"

#include "platform/text.h"

clsSkinQuery::~clsSkinQuery() {
  // OnUnloading is not called here: whoever set it may be half gone by now.
  if (skin_) SetSkinOwner(skin_.get(), nullptr);
  skin_.reset();
  query_.reset();
}

std::string clsSkinQuery::QueryIdentifier(const std::string& name) {
  const size_t dot = name.find('.');
  if (dot != std::string::npos) return name.substr(0, dot + 1) + "Query";
  return name + ".Query";
}

std::string clsSkinQuery::FormName(const std::string& name) {
  const size_t dot = name.find('.');
  return dot != std::string::npos ? name.substr(dot + 1) : std::string();
}

bool clsSkinQuery::Fail(const std::string& line, std::string detail) {
  last_error_detail_ = std::move(detail);
  last_error_ = line;
  return false;
}

bool clsSkinQuery::OpenQuery(const std::string& name) {
  const std::string identifier = QueryIdentifier(name);
  if (query_ && platform::text::EqualNoCase(identifier, identifier_)) return true;
  CloseQuery();
  std::string reason;
  query_ = plugins_.CreateQuery(identifier, &reason);
  if (!query_) return Fail("OpenQuery - " + reason);
  identifier_ = identifier;
  return true;
}

void clsSkinQuery::CloseQuery() {
  query_.reset();
  identifier_.clear();
}

std::string clsSkinQuery::SkinVersion() const {
  if (!query_) return {};
  const char* text = query_->Query().SkinVersion();
  return text != nullptr ? text : std::string();
}

int clsSkinQuery::QueryObjectCount() const {
  return query_ ? query_->Query().QueryObjectCount() : 0;
}

std::string clsSkinQuery::QueryObjectName(int index) const {
  if (!query_) return {};
  const char* text = query_->Query().QueryObjectName(index);
  return text != nullptr ? text : std::string();
}

const MsrSkinForm* clsSkinQuery::GetObjects(const std::string& name) {
  if (!query_) {
    Fail("GetObjects - no query object");
    return nullptr;
  }
  const MsrSkinForm* form = query_->Query().GetObjects(name.c_str());
  if (form == nullptr) Fail("GetObjects - " + identifier_ + " has no form " + name);
  return form;
}

bool clsSkinQuery::LoadSkin(const std::string& name, platform::Control* owner) {
  if (!OpenQuery(name)) return Fail(kLoadSkinError, last_error_);
  const std::string form_name = FormName(name);
  // A form of the same name from another library is another form: compare the library too, or switching
  // from one skin's "Main" to another's would keep showing the first.
  if (skin_ && platform::text::EqualNoCase(form_name, skin_name_) &&
      platform::text::EqualNoCase(identifier_, skin_identifier_)) {
    if (skin_->Owner() != owner && !SetSkinOwner(skin_.get(), owner))
      return Fail(kLoadSkinError, last_error_);
    return true;
  }
  UnLoadSkin();
  const MsrSkinForm* description = GetObjects(form_name);
  if (description == nullptr) return Fail(kLoadSkinError, last_error_);
  build_problems_.clear();
  skin_ = BuildSkinForm(*description, &build_problems_);
  skin_name_ = form_name;
  skin_identifier_ = identifier_;
  if (!SetSkinOwner(skin_.get(), owner)) return Fail(kLoadSkinError, last_error_);
  return true;
}

bool clsSkinQuery::UnLoadSkin() {
  if (!skin_) return true;
  if (OnUnloading) OnUnloading();
  SetSkinOwner(skin_.get(), nullptr);
  skin_.reset();
  skin_name_.clear();
  skin_identifier_.clear();
  build_problems_.clear();
  return true;
}

bool clsSkinQuery::SetSkinOwner(SkinForm* form, platform::Control* owner) {
  if (form == nullptr) return Fail("SetSkinOwner - no skin form");
  // The form always lands at the top-left corner of its owner: the skin area is sized for it.
  form->Move(0, 0);
  if (owner == nullptr) {
    form->Hide();
    form->SetOwner(nullptr);
  } else {
    form->SetOwner(owner);
    form->Show();
  }
  return true;
}
