// Uploads by the daemon as a process: the exact stream, devices that misbehave, and what goes on
// meanwhile.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "update_bed.hpp"

namespace {

using namespace std::chrono_literals;

const FoundDevice kDevice{"tx1", "10.77.1.1"};
const FoundDevice kDecoder{"rx1", "10.77.1.2"};
const std::string kWholeKinds = "A" + std::string(4094, 'B') + "D";

class Firmware : public testing::Test {
  protected:
    static std::string lineFor(const bed::ImageFile& image) {
        return "update device encoder tx1 " + image.path() + "!";
    }

    /// Begins an upload to the one encoder; returns the device's end of it.
    bed::Upload startUpload(const bed::ImageFile& image) {
        bed_.start(lineFor(image), {kDevice});
        return port_.accept();
    }

    /// Waits for the command to fail after the image's description and this.
    void expectFailure(const bed::ImageFile& image, const std::string& text) {
        EXPECT_EQ(bed_.answer(), failure("update device encoder"));
        bed_.awaitSaid(lineFor(image),
                       image.description() + text + "Tcp_Send err!\nMain_update_encoder err!\n");
        EXPECT_EQ(bed_.timesOpen(image.path()), 0);
        EXPECT_TRUE(bed_.daemon.isRunning());
    }

    UpdateBed bed_;
    bed::UploadPort port_ = bed_.openPort(kDevice.address);
};

struct Sequence {
    std::int32_t size;
    std::string kinds;
};

class FirmwareStream : public Firmware, public testing::WithParamInterface<Sequence> {};

TEST_P(FirmwareStream, is_exact) {
    const bed::ImageFile image({.size = GetParam().size});
    const std::string stream = bed::chunkStream(GetParam().kinds, image.payload());
    bed::Upload upload = startUpload(image);
    EXPECT_TRUE(upload.receive(stream.size()) == stream);
    EXPECT_TRUE(upload.hasHeardNothing());
    upload.send("r");
    EXPECT_EQ(upload.receiveAll(), "");
    EXPECT_EQ(bed_.answer(), success("update device encoder"));
    bed_.awaitSaid(lineFor(image), image.description() + "read r\n");
}

INSTANTIATE_TEST_SUITE_P(Sizes, FirmwareStream,
                         testing::Values(Sequence{1, "E"}, Sequence{4095, "E"}, Sequence{4096, "E"},
                                         Sequence{4097, "AD"}, Sequence{8192, "AD"},
                                         Sequence{10000, "ABD"},
                                         Sequence{16 * 1024 * 1024, kWholeKinds}),
                         [](const auto& each) { return std::to_string(each.param.size); });

TEST_F(Firmware, of_no_bytes_is_a_connection_that_ends) {
    const bed::ImageFile image({.size = 0});
    EXPECT_EQ(startUpload(image).receiveAll(), "");
    EXPECT_EQ(bed_.answer(), success("update device encoder"));
    bed_.awaitSaid(lineFor(image), image.description());
}

TEST_F(Firmware, to_a_device_that_resets_in_the_middle_fails) {
    const bed::ImageFile image({.size = bed::kWholeImage});
    bed::Upload upload = startUpload(image);
    upload.receive(100'000);
    upload.reset();
    expectFailure(image, "send error:104 Connection reset by peer");
}

TEST_F(Firmware, to_a_device_that_closes_before_the_last_chunk_fails) {
    const bed::ImageFile image({.size = bed::kWholeImage});
    // What the device has not read makes its system reset the connection.
    startUpload(image).end();
    EXPECT_EQ(bed_.answer(), failure("update device encoder"));
    bed_.daemon.awaitOutput("Tcp_Send err!\nMain_update_encoder err!\n");
    EXPECT_EQ(bed_.timesOpen(image.path()), 0);
    EXPECT_TRUE(bed_.daemon.isRunning());
}

TEST_F(Firmware, to_a_device_that_closes_instead_of_replying_succeeds) {
    const bed::ImageFile image({.size = 1});
    bed::Upload upload = startUpload(image);
    upload.receive(5);
    upload.end();
    EXPECT_EQ(bed_.answer(), success("update device encoder"));
    bed_.awaitSaid(lineFor(image), image.description() +
                                       "recv error:115 Operation now in progress"
                                       "read \n");
}

TEST_F(Firmware, to_a_device_that_stops_reading_fails_after_five_seconds) {
    const bed::ImageFile image({.size = bed::kWholeImage});
    bed::Upload upload = startUpload(image);
    const auto begin = std::chrono::steady_clock::now();
    upload.receive(4100);
    expectFailure(image, "select error:115 Operation now in progress");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(Firmware, other_connections_are_served_while_a_device_lets_wait) {
    const bed::ImageFile image({.size = 1});
    bed::Upload upload = startUpload(image);
    upload.receive(5);

    bed::Console other;
    EXPECT_EQ(bed_.segment.ask(other, "nonsense!"), failure("nonsense!"));
    bed_.segment.clear();
    other.send("config get decoders!");
    bed_.device.receive();
    EXPECT_EQ(bed_.answer(), R"({"ack":{"cmd":"config get decoders","status":"success"},)"
                             R"("devicelist":[]})");

    bed_.segment.clear();
    upload.send("o");
    EXPECT_EQ(bed_.answer(), success("update device encoder"));
    bed_.daemon.awaitOutput("read o\n");
}

TEST_F(Firmware, two_uploads_on_two_connections_go_on_at_the_same_time) {
    const bed::ImageFile first({.name = "TX", .size = bed::kWholeImage});
    const bed::ImageFile second(
        {.name = "RX", .size = bed::kWholeImage, .version = "\x09\x09\x09"});
    const bed::UploadPort decoderPort = bed_.openPort(kDecoder.address);
    const std::string firstStream = bed::chunkStream(kWholeKinds, first.payload());
    const std::string secondStream = bed::chunkStream(kWholeKinds, second.payload());

    bed::Upload encoder = startUpload(first);
    bed::Console other;
    bed_.start("update device decoder rx1 " + second.path() + "!", {kDecoder}, other);
    // A little at a time, so that the first is still under way when the second begins.
    std::string toEncoder;
    while (!decoderPort.hasConnection(20ms)) {
        toEncoder += encoder.receive(4100);
    }
    EXPECT_LT(toEncoder.size(), firstStream.size());
    bed::Upload decoder = decoderPort.accept();
    std::string toDecoder;
    while (toEncoder.size() < firstStream.size() || toDecoder.size() < secondStream.size()) {
        constexpr std::size_t kStep = 100'000;
        toEncoder += encoder.receive(std::min(kStep, firstStream.size() - toEncoder.size()));
        toDecoder += decoder.receive(std::min(kStep, secondStream.size() - toDecoder.size()));
    }
    EXPECT_TRUE(toEncoder == firstStream);
    EXPECT_TRUE(toDecoder == secondStream);

    encoder.send("done");
    EXPECT_EQ(bed_.answer(), success("update device encoder"));
    bed_.segment.clear();
    decoder.send("done");
    EXPECT_EQ(bed_.answer(), success("update device decoder"));
}

}  // namespace
