#pragma once
// Taking up the skin libraries of the Skin folder.

#include <string>
#include <vector>

#include "skin/clsPlugins.h"
#include "skin/clsSkinQuery.h"

// File pattern of skin candidates on this system.
inline constexpr const char* kSkinLibraryPattern = "*.so";

struct PluginSkinResult {
  // Library names (file name without extension) of the skins kept, in folder order.
  std::vector<std::string> skins;
  // One line for every library left out, its path, ": " and why, for the terminal view.
  std::vector<std::string> skipped;
};

// Registers every "*.so" of `folder` (trimmed; with or without a trailing "/"). A library whose
// registration succeeds is opened through `query` by its name; it is kept when its SkinVersion contains
// "MSR Skin" (in any case) and unregistered otherwise. Libraries that cannot be loaded, are no skins or
// speak another contract version are left out, never fatal.
PluginSkinResult LoadPluginSkin(const std::string& folder, clsPlugins& plugins, clsSkinQuery& query);
