// How long an upload waits for the device's last word. The unit tests hold the same by what is
// asked of the system; here it is waited for.
#include <gtest/gtest.h>

#include <chrono>

#include "system/update_bed.hpp"

namespace {

using namespace std::chrono_literals;

TEST(FirmwareReply, is_awaited_for_five_minutes) {
    const FoundDevice encoder{"tx1", "10.77.1.1"};
    UpdateBed bed;
    const bed::UploadPort port = bed.openPort(encoder.address);
    const bed::ImageFile image({.size = 1});
    const std::string line = "update device encoder tx1 " + image.path() + "!";
    bed.start(line, {encoder});
    bed::Upload upload = port.accept();
    upload.receive(5);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bed.segment.awaitAnswer(330s), success("update device encoder"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300s);
    bed.awaitSaid(line, image.description() +
                            "select error:115 Operation now in progress"
                            "read \n");
}

}  // namespace
