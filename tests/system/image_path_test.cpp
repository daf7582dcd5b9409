// Paths of images that name something else than a regular file. The daemon is at the head of a
// session of its own here, as under a service manager: it could get a controlling terminal, whose
// hangup would then reach it.
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

#include "bed/folder.hpp"
#include "system/update_bed.hpp"

namespace {

bed::DaemonOptions withSession() {
    bed::DaemonOptions options;
    options.ownSession = true;
    return options;
}

/// Sees whether anybody opens what stands at a path.
class Watch {
  public:
    explicit Watch(const std::string& path) : events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        if (::inotify_add_watch(events_.get(), path.c_str(), IN_OPEN) < 0) {
            bed::throwSystemError("cannot watch " + path);
        }
    }
    bool hasSeenAnOpening() const {
        std::array<char, 4096> event{};
        return ::read(events_.get(), event.data(), event.size()) > 0;
    }

  private:
    avoip::Descriptor events_;
};

class ImagePath : public testing::Test {
  protected:
    /// Sends the command for an image at this path and lets the encoder be found.
    void update(const std::string& path) {
        bed_.start("update device encoder tx1 " + path + "!", {kEncoder});
    }

    void expectRefused(const std::string& path) {
        const Watch watch(path);
        update(path);
        EXPECT_EQ(bed_.answer(), failure("update device encoder"));
        bed_.awaitSaid("update device encoder tx1 " + path + "!",
                       path + " open failed...\nMain_update_encoder err!\n");
        EXPECT_FALSE(watch.hasSeenAnOpening());
        EXPECT_EQ(bed_.timesOpen(path), 0);
        EXPECT_FALSE(bed_.daemon.hasControllingTerminal());
    }

    const FoundDevice kEncoder{"tx1", "10.77.1.1"};
    const bed::Folder folder_;
    UpdateBed bed_{withSession()};
};

TEST_F(ImagePath, of_a_regular_file_is_opened) {
    const bed::ImageFile image({.magic = "none"});
    const Watch watch(image.path());
    update(image.path());
    EXPECT_EQ(bed_.answer(), failure("update device encoder"));
    bed_.daemon.awaitOutput("Image magic err!\n");
    EXPECT_TRUE(watch.hasSeenAnOpening());
}

TEST_F(ImagePath, of_a_terminal_is_not_opened_and_gives_the_daemon_none) {
    std::array<char, 128> name{};
    int screen = -1;
    int terminal = -1;
    ASSERT_EQ(::openpty(&screen, &terminal, name.data(), nullptr, nullptr), 0);
    const avoip::Descriptor screenEnd(screen);
    const avoip::Descriptor terminalEnd(terminal);
    expectRefused(name.data());
}

TEST_F(ImagePath, of_a_device_is_not_opened) {
    expectRefused("/dev/full");
}

TEST_F(ImagePath, of_a_directory_is_not_opened) {
    expectRefused(folder_.path());
}

TEST_F(ImagePath, of_a_fifo_is_not_opened_and_holds_nothing_up) {
    const std::string path = folder_.path() + "/fifo";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    expectRefused(path);
    std::filesystem::create_symlink(path, folder_.path() + "/link");
    expectRefused(folder_.path() + "/link");
}

}  // namespace
