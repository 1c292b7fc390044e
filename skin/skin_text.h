#pragma once
// Older names of the shared text helpers (platform/text.h), for files not moved to platform::text yet.

#include "platform/text.h"

namespace skin_text {

using platform::text::ContainsNoCase;
using platform::text::StartsWithNoCase;
using platform::text::Trim;
using platform::text::Upper;

}  // namespace skin_text
