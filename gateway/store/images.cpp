#include "gateway/store/images.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "gateway/base/text.hpp"
#include "lib/base/json.hpp"
#include "lib/catalogue/arguments.hpp"
#include "lib/image/image.hpp"

namespace avoip::gw {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kUnfinished = "upload-";

std::atomic<int> uploads = 0;

[[noreturn]] void failWith(const std::string& path) {
    throw StoreError{path + ": " + std::generic_category().message(errno),
                     errno == ENOSPC || errno == EDQUOT || errno == EFBIG};
}

std::string typeOf(const std::string& name) {
    const bool encoder = name.find("TX") != std::string::npos;
    const bool decoder = name.find("RX") != std::string::npos;
    return encoder == decoder ? "unknown" : encoder ? "encoder" : "decoder";
}

ImageFacts imageOf(const Json& facts) {
    const auto text = [&facts](const char* key) {
        return Json_text(facts.get(), key).value_or("");
    };
    return {text("id"),
            text("name"),
            text("type"),
            text("version"),
            Json_whole(Json_find(facts.get(), "size")).value_or(0),
            text("sha256")};
}

/// A file and the folder it is in, on the disk.
void writeOut(const Descriptor& file, const std::string& path) {
    if (::fsync(file.get()) != 0) {
        failWith(path);
    }
}

}  // namespace

std::string Image_json(const ImageFacts& image) {
    const Json facts = Json_newObject();
    Json_addText(facts.get(), "id", image.id);
    Json_addText(facts.get(), "name", image.name);
    Json_addText(facts.get(), "type", image.type);
    Json_addText(facts.get(), "version", image.version);
    Json_addWhole(facts.get(), "size", image.size);
    Json_addText(facts.get(), "sha256", image.sha256);
    return Json_print(facts.get());
}

std::string Image_folder(const std::string& data) {
    return data + "/firmware";
}

std::string Image_path(const std::string& data, std::string_view id) {
    return Image_folder(data).append("/").append(id);
}

std::string Image_pathProblem(const std::string& data) {
    const Command* const update = Catalogue_find("update", "encoder");
    return Arguments_problem(update->arguments.back(), Image_path(data, std::string(64, '0')));
}

void Image_prepare(Store& store, const std::string& data) {
    const std::string folder = Image_folder(data);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        throw StoreError{folder + ": " + error.message()};
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(kUnfinished) || !Store_get(store, kImageKind, name)) {
            fs::remove(entry.path(), error);
        }
    }
    for (const ImageFacts& image : Image_list(store)) {
        if (!fs::exists(Image_path(data, image.id), error)) {
            Store_remove(store, kImageKind, image.id);
        }
    }
}

std::optional<ImageFacts> Image_find(Store& store, std::string_view id) {
    const auto facts = Store_get(store, kImageKind, id);
    return facts ? std::optional(imageOf(Json_parse(*facts))) : std::nullopt;
}

std::vector<ImageFacts> Image_list(Store& store) {
    std::vector<ImageFacts> images;
    for (const Document& document : Store_list(store, kImageKind)) {
        images.push_back(imageOf(Json_parse(document.body)));
    }
    return images;
}

bool Image_remove(Store& store, const std::string& data, std::string_view id) {
    if (!Store_remove(store, kImageKind, id)) {
        return false;
    }
    std::error_code error;
    fs::remove(Image_path(data, id), error);
    return true;
}

std::vector<std::string> Image_surplus(Store& store, const std::string& data, int keep) {
    std::vector<std::pair<fs::file_time_type, std::string>> byAge;
    for (const ImageFacts& image : Image_list(store)) {
        std::error_code error;
        byAge.emplace_back(fs::last_write_time(Image_path(data, image.id), error), image.id);
    }
    std::sort(byAge.begin(), byAge.end());
    std::vector<std::string> surplus;
    for (const auto& [time, id] : byAge) {
        if (byAge.size() - surplus.size() > static_cast<std::size_t>(keep)) {
            surplus.push_back(id);
        }
    }
    return surplus;
}

ImageUpload::Place::Place() {
    if (++uploads > kUploadsMax) {
        --uploads;
        throw TooManyUploads{};
    }
}

ImageUpload::Place::~Place() {
    --uploads;
}

ImageUpload::ImageUpload(const std::string& data)
    : data_(data), path_(Image_folder(data) + "/" + std::string(kUnfinished) + Secret_random(8)) {
    file_ = Descriptor(::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640));
    if (!file_.isOpen()) {
        failWith(path_);
    }
}

ImageUpload::~ImageUpload() {
    if (!path_.empty()) {
        ::unlink(path_.c_str());
    }
}

void ImageUpload::add(std::string_view bytes) {
    sum_.add(bytes);
    size_ += static_cast<std::int64_t>(bytes.size());
    while (!bytes.empty()) {
        const ssize_t written = ::write(file_.get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            failWith(path_);
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

std::optional<ImageFacts> ImageUpload::read() {
    const FirmwareInfoBlock block = Image_read(file_.get());
    if (block.magic != kImageMagic || block.size < 0) {
        return std::nullopt;
    }
    ImageFacts image;
    image.sha256 = sum_.take();
    image.id = image.sha256;
    image.name = Text_repaired(block.name.data());
    image.type = typeOf(image.name);
    image.version = std::to_string(block.version[0]) + "." + std::to_string(block.version[1]) +
                    "." + std::to_string(block.version[2]);
    image.size = block.size;
    return image;
}

bool ImageUpload::keep(Store& store, const ImageFacts& image) {
    writeOut(file_, path_);
    const std::string folder = Image_folder(data_);
    if (::rename(path_.c_str(), Image_path(data_, image.id).c_str()) != 0) {
        failWith(path_);
    }
    path_.clear();
    writeOut(Descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), folder);
    return Store_put(store, kImageKind, image.id, Image_json(image));
}

}  // namespace avoip::gw
