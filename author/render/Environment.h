// SPDX-License-Identifier: MIT
//
// The environment variables by which `vistel render` tells vistel-render its settings. The
// program's settings are constants that exist before main() starts, so no option could set them.
#pragma once

namespace RenderEnvironment {

inline constexpr char kRoot[] = "VISTEL_RENDER_ROOT";      // resolved: no symbolic link in it
inline constexpr char kLocale[] = "VISTEL_RENDER_LOCALE";  // <here>/de/LC_MESSAGES/vistel.mo
inline constexpr char kModel[] = "VISTEL_RENDER_MODEL";    // path of the model
inline constexpr char kValues[] = "VISTEL_RENDER_VALUES";  // path of the values; "" for none
inline constexpr char kUpload[] = "VISTEL_RENDER_UPLOAD";  // path of the upload file
inline constexpr char kSecret[] = "VISTEL_RENDER_SECRET";  // path of the authorisation file
inline constexpr char kCanary[] = "VISTEL_RENDER_CANARY";  // not empty: values carry markup

}  // namespace RenderEnvironment
