// The device's fixed paths.
#pragma once

namespace quill {

// Holds the path of the configuration in use.
inline constexpr char kCurrentConfig[] = "/flash/config/.config";
// The list of the stored configurations .boc_config.*
inline constexpr char kBocConfigList[] = "/flash/config/.boc_config.list";

}  // namespace quill
