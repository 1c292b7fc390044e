// A skin plug-in for tests. TEST_SKIN_GOOD is a proper skin with two forms; the other variants each break
// one rule of the contract. Every variant counts its registrations and live query objects, so that tests
// can see what the host called.

#include "skin/skin_contract.h"

namespace {

int g_register_calls = 0;
int g_unregister_calls = 0;
int g_live_queries = 0;
int g_created_queries = 0;

const char* const kTabs[] = {"General"};
const MsrSkinControl kMainControls[] = {{.kind = "ComboBox", .name = "cboBaud", .tag = "Item:Baud"}};
const MsrSkinControl kSecondControls[] = {{.kind = "TextBox", .name = "txtName", .tag = "Item:Name"}};
const MsrSkinForm kMain = {
    .name = "Main", .tab_captions = kTabs, .tab_count = 1, .controls = kMainControls, .control_count = 1};
const MsrSkinForm kSecond = {
    .name = "Second", .tab_captions = kTabs, .tab_count = 1, .controls = kSecondControls, .control_count = 1};
const MsrSkinForm* const kForms[] = {&kMain, &kSecond};

#if defined(TEST_SKIN_NOT_A_SKIN)
constexpr const char* kVersion = "Barcode Scanner Driver 2.3";
#else
constexpr const char* kVersion = "Test msr skin 1.0";
#endif

class CountedQuery final : public MsrSkinQuery {
 public:
  CountedQuery() : table_(kVersion, kForms, 2) {
    ++g_live_queries;
    ++g_created_queries;
  }
  ~CountedQuery() override { --g_live_queries; }
  const char* SkinVersion() const override { return table_.SkinVersion(); }
  int QueryObjectCount() const override { return table_.QueryObjectCount(); }
  const char* QueryObjectName(int index) const override { return table_.QueryObjectName(index); }
  const MsrSkinForm* GetObjects(const char* name) const override { return table_.GetObjects(name); }

 private:
  MsrSkinTableQuery table_;
};

}  // namespace

#if !defined(TEST_SKIN_NO_REGISTER)
MSR_SKIN_EXPORT int DllRegisterServer(void) {
  return ++g_register_calls, 0;
}
#endif
MSR_SKIN_EXPORT int DllUnregisterServer(void) {
  return ++g_unregister_calls, 0;
}

#if !defined(TEST_SKIN_NO_CONTRACT)
MSR_SKIN_EXPORT int MsrSkinContractVersion(void) {
#if defined(TEST_SKIN_WRONG_VERSION)
  return kMsrSkinContractVersion + 1;
#else
  return kMsrSkinContractVersion;
#endif
}
#endif

MSR_SKIN_EXPORT MsrSkinQuery* MsrSkinCreateQuery(int host_contract_version) {
#if defined(TEST_SKIN_REFUSES_QUERY)
  (void)host_contract_version;
  return nullptr;
#else
  if (host_contract_version != kMsrSkinContractVersion) return nullptr;
  return new CountedQuery;
#endif
}

MSR_SKIN_EXPORT void MsrSkinReleaseQuery(MsrSkinQuery* query) {
  delete static_cast<CountedQuery*>(query);
}

// For the tests only.
MSR_SKIN_EXPORT int TestSkinRegisterCalls(void) {
  return g_register_calls;
}
MSR_SKIN_EXPORT int TestSkinUnregisterCalls(void) {
  return g_unregister_calls;
}
MSR_SKIN_EXPORT int TestSkinLiveQueries(void) {
  return g_live_queries;
}
MSR_SKIN_EXPORT int TestSkinCreatedQueries(void) {
  return g_created_queries;
}
