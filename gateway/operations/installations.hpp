// Installation jobs: an image onto devices, a few at a time.
//
// Each device is a task: the daemon uploads, then the device has to come back with the version of
// the image. The opening discoveries of uploads go one after the other, the uploads side by side.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "gateway/operations/operations.hpp"

namespace avoip::gw {

/// A firmware image as it is kept.
struct Image {
    std::string id = {};
    std::string name = {};
    DeviceType type = DeviceType::kUnknown;
    std::string version = {};  ///< without the V
    std::string path = {};     ///< of the file, as the daemon opens it
};

struct InstallationOptions {
    std::chrono::seconds returnLimit{300};  ///< how long a device may stay away
    int parallel = 4;                       ///< devices that take an image at the same time
};

class Installations {
  public:
    Installations(Operations& operations, InstallationOptions options);
    /// What is in progress ends as soon as it can; what it was about stays in the store as it is,
    /// and is made a failure by restore().
    ~Installations();
    Installations(const Installations&) = delete;
    Installations& operator=(const Installations&) = delete;

    /// Puts the jobs that were kept into the state. One that was not over is failed now, with the
    /// interruption as its problem.
    void restore(std::vector<Job> kept);

    /// Begins a job: 422 for devices of the other kind, and for ids that cannot be carried; 404 for
    /// unknown ones; nothing is sent then.
    Outcome<Job> begin(const Image& image, const std::vector<std::string>& devices);

    /// Cancels what has not begun of a job; forgets one that is over. 404 when there is none.
    Outcome<Done> remove(const std::string& id);

    /// Whether a job that is not over is about this image.
    bool uses(const std::string& image);

  private:
    struct Work;
    std::unique_ptr<Work> work_;
};

}  // namespace avoip::gw
