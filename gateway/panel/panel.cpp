#include "gateway/panel/panel.hpp"

#include <algorithm>

namespace avoip::gw {
namespace {

constexpr std::string_view kPage = "index.html";
constexpr std::string_view kFolder = "/panel/";

// Everything the page needs comes from here; it stands in no other page's frame.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "connect-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

/// What stands between commas, without the blanks around it.
std::string_view nextOf(std::string_view& list) {
    std::string_view item = list.substr(0, list.find(','));
    list.remove_prefix(std::min(item.size() + 1, list.size()));
    const auto isBlank = [](char letter) { return letter == ' ' || letter == '\t'; };
    while (!item.empty() && isBlank(item.front())) {
        item.remove_prefix(1);
    }
    while (!item.empty() && isBlank(item.back())) {
        item.remove_suffix(1);
    }
    return item;
}

bool takesGzip(std::string_view acceptEncoding) {
    while (!acceptEncoding.empty()) {
        const std::string_view item = nextOf(acceptEncoding);
        const std::string_view coding = item.substr(0, item.find_first_of("; "));
        if (coding == "gzip" || coding == "*") {
            const std::size_t quality = item.find("q=");
            // "q=0", however many zeros stand behind it, is no.
            return quality == std::string_view::npos ||
                   item.find_first_not_of("0.", quality + 2) != std::string_view::npos;
        }
    }
    return false;
}

bool names(std::string_view ifNoneMatch, std::string_view tag) {
    while (!ifNoneMatch.empty()) {
        std::string_view item = nextOf(ifNoneMatch);
        if (item.starts_with("W/")) {
            item.remove_prefix(2);
        }
        if (item == tag || item == "*") {
            return true;
        }
    }
    return false;
}

}  // namespace

const PanelFile* Panel_find(std::string_view path) {
    const bool isPage = path == "/";
    if (!isPage && !path.starts_with(kFolder)) {
        return nullptr;
    }
    const std::string_view name = isPage ? kPage : path.substr(kFolder.size());
    const auto files = Panel_files();
    const auto found = std::find_if(files.begin(), files.end(),
                                    [name](const PanelFile& file) { return file.name == name; });
    return found == files.end() ? nullptr : &*found;
}

Response Panel_response(const PanelFile& file, const PanelWish& wish) {
    const bool packed = takesGzip(wish.acceptEncoding);
    const std::string tag = std::string("\"").append(file.hash).append(packed ? "-gzip\"" : "\"");
    Response response;
    response.headers = {{"Cache-Control", "no-cache"},
                        {"ETag", tag},
                        {"Vary", "Accept-Encoding"},
                        {"Content-Security-Policy", kPolicy}};
    if (names(wish.ifNoneMatch, tag)) {
        response.status = 304;
        response.type.clear();
        return response;
    }
    response.type = file.type;
    response.body = std::make_shared<const std::string>(packed ? file.packed : file.plain);
    if (packed) {
        response.headers.emplace_back("Content-Encoding", "gzip");
    }
    return response;
}

}  // namespace avoip::gw
