#include "skin/load_plugin_skin.h"

#include "platform/file_system.h"
#include "platform/text.h"

PluginSkinResult LoadPluginSkin(const std::string& folder, clsPlugins& plugins, clsSkinQuery& query) {
  PluginSkinResult result;
  std::string dir = platform::text::Trim(folder);
  if (dir.empty() || dir.back() != '/') dir += '/';
  for (const std::string& file : platform::ListDirectory(dir, kSkinLibraryPattern)) {
    const std::string path = dir + file;
    std::string reason;
    if (!plugins.RegisterServer(path, &reason)) {
      result.skipped.push_back(reason);
      continue;
    }
    const std::string name = file.substr(0, file.rfind('.'));
    if (query.OpenQuery(name) && platform::text::ContainsNoCase(query.SkinVersion(), kMsrSkinVersionMark)) {
      result.skins.push_back(name);
      continue;
    }
    result.skipped.push_back(
        path + ": " +
        (query.HasQuery() ? "not an MSR skin (\"" + query.SkinVersion() + "\")" : query.LastError()));
    query.CloseQuery();
    plugins.UnRegisterServer(path);
  }
  return result;
}
