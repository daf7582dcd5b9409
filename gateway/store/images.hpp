// Firmware images: files in a folder of the data folder, their facts in the store.
//
// The name of a file is the image's id, which comes from its bytes alone. A file that came whole is
// written out before its facts are stored; what did not come whole is removed at the next start.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/base/secret.hpp"
#include "gateway/store/store.hpp"
#include "lib/base/descriptor.hpp"

namespace avoip::gw {

struct ImageFacts {
    std::string id;
    std::string name;
    std::string type;     ///< "encoder", "decoder" or "unknown", by its name
    std::string version;  ///< "1.2.6"
    std::int64_t size = 0;
    std::string sha256;
};

/// The resource: {"id","name","type","version","size","sha256"}.
std::string Image_json(const ImageFacts& image);

/// The folder below the data folder.
std::string Image_folder(const std::string& data);

/// The file of an image.
std::string Image_path(const std::string& data, std::string_view id);

/// What an update command could not carry of the paths in this data folder; nothing when all is
/// well.
std::string Image_pathProblem(const std::string& data);

/// Makes the folder and removes what a start, or an upload, left unfinished. Throws StoreError.
void Image_prepare(Store& store, const std::string& data);

std::optional<ImageFacts> Image_find(Store& store, std::string_view id);
/// All of them, sorted by id.
std::vector<ImageFacts> Image_list(Store& store);

/// Removes the facts and the file; gives whether there were any.
bool Image_remove(Store& store, const std::string& data, std::string_view id);

/// So many images may come in at once.
inline constexpr int kUploadsMax = 4;
/// Thrown when there are more.
struct TooManyUploads {};

/// An image as it comes in. What has not been kept when the object goes is removed.
class ImageUpload {
  public:
    /// Begins a file. Throws StoreError, or TooManyUploads.
    explicit ImageUpload(const std::string& data);
    ~ImageUpload();
    ImageUpload(const ImageUpload&) = delete;
    ImageUpload& operator=(const ImageUpload&) = delete;

    /// Adds what comes next. Throws StoreError, full when the disk is.
    void add(std::string_view bytes);

    /// What the file is; nothing when it is no image.
    std::optional<ImageFacts> read();

    /// Keeps it, on the disk, under its id; gives whether it is new. Throws StoreError.
    bool keep(Store& store, const ImageFacts& image);

  private:
    /// One of the images that come in.
    struct Place {
        Place();
        ~Place();
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
    };

    Place place_;
    std::string data_;
    std::string path_;
    Descriptor file_;
    Sha256 sum_;
    std::int64_t size_ = 0;
};

/// Which images go when there are more than `keep`: the ids of the oldest.
std::vector<std::string> Image_surplus(Store& store, const std::string& data, int keep);

}  // namespace avoip::gw
