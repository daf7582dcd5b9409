// The panel: a page for browsers that shows the fleet and works on the API alone. Its files are a
// part of the program, each as it is and packed by gzip. Anybody may have them; what they ask the
// API for needs a log-in.
#pragma once

#include <span>
#include <string_view>

#include "gateway/api/call.hpp"

namespace avoip::gw {

struct PanelFile {
    std::string_view name;  ///< from the panel's folder on: "app/main.js"
    std::string_view type;
    std::string_view hash;  ///< of its bytes; another file has another one
    std::string_view plain;
    std::string_view packed;  ///< the same as gzip
};

/// All files of the panel.
std::span<const PanelFile> Panel_files();

/// The file under a path: the page itself is "/", everything else begins with "/panel/". Null when
/// there is none.
const PanelFile* Panel_find(std::string_view path);

/// What a browser says of the answer that it wants; empty where it says nothing.
struct PanelWish {
    std::string_view acceptEncoding;
    std::string_view ifNoneMatch;
};

/// The file, or 304 when the browser has it already. A browser asks anew each time it loads the
/// page, so that all files of a page are of one version.
Response Panel_response(const PanelFile& file, const PanelWish& wish);

}  // namespace avoip::gw
