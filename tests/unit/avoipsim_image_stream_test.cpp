// The stream of an upload as a device reads it, and the images that are made for tests.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "avoipsim/image_stream.hpp"
#include "avoipsim/make_image.hpp"

namespace avoip::sim {
namespace {

std::string chunk(char kind, const std::string& data) {
    std::string text = {'$', kind, static_cast<char>(data.size() & 0xFF),
                        static_cast<char>(data.size() >> 8)};
    return text + data;
}

/// What a sender makes of an image.
std::string stream(const std::string& image) {
    std::string text;
    for (std::size_t offset = 0; offset < image.size(); offset += 4096) {
        const bool first = offset == 0;
        const bool last = image.size() - offset <= 4096;
        const char kind = first ? (last ? 'E' : 'A') : (last ? 'D' : 'B');
        text += chunk(kind, image.substr(offset, 4096));
    }
    return text;
}

void take(ImageStream& received, const std::string& bytes) {
    ImageStream_take(received,
                     std::span(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

/// "complete", "receiving", or why it is wrong.
std::string outcome(const std::string& bytes) {
    ImageStream received;
    take(received, bytes);
    return received.state == ImageStreamState::kComplete    ? "complete"
           : received.state == ImageStreamState::kReceiving ? "receiving"
                                                            : received.problem;
}

TEST(AvoipsimImageStream, takes_images_of_every_kind_of_length) {
    for (const std::size_t size : {1U, 4095U, 4096U, 4097U, 8192U, 10000U}) {
        ImageStream received;
        take(received, stream(std::string(size, 'x')));
        EXPECT_EQ(received.state, ImageStreamState::kComplete) << size << received.problem;
        EXPECT_EQ(received.imageSize, size);
    }
}

TEST(AvoipsimImageStream, takes_a_stream_byte_by_byte_and_stores_the_image) {
    std::string image;
    for (int i = 0; i < 10000; ++i) {
        image += static_cast<char>(i * 7);
    }
    ImageStream received;
    received.file.reset(std::tmpfile());
    for (const char byte : stream(image)) {
        ASSERT_EQ(received.state, ImageStreamState::kReceiving);
        take(received, std::string(1, byte));
    }
    EXPECT_EQ(received.state, ImageStreamState::kComplete);
    std::rewind(received.file.get());
    std::string stored(20000, 0);
    stored.resize(std::fread(stored.data(), 1, stored.size(), received.file.get()));
    EXPECT_EQ(stored, image);
}

TEST(AvoipsimImageStream, waits_for_what_has_not_come) {
    const std::string whole = stream(std::string(5000, 'x'));
    for (const std::size_t length :
         {std::size_t{0}, std::size_t{3}, std::size_t{4}, std::size_t{4100}, whole.size() - 1}) {
        EXPECT_EQ(outcome(whole.substr(0, length)), "receiving") << length;
    }
}

TEST(AvoipsimImageStream, refuses_a_stream_that_is_none) {
    const std::string full(4096, 'x');
    EXPECT_EQ(outcome("GET / HTTP/1.1"), "a chunk does not begin with $");
    EXPECT_EQ(outcome(chunk('B', full)), "a chunk of kind B where none may be");
    EXPECT_EQ(outcome(chunk('D', "x")), "a chunk of kind D where none may be");
    EXPECT_EQ(outcome(chunk('C', "x")), "a chunk of kind C where none may be");
    EXPECT_EQ(outcome(chunk('A', full) + chunk('A', full)), "a chunk of kind A where none may be");
    EXPECT_EQ(outcome(chunk('A', full) + chunk('E', "x")), "a chunk of kind E where none may be");
    EXPECT_EQ(outcome(chunk('E', "")), "a chunk of kind E with 0 bytes");
    EXPECT_EQ(outcome(chunk('E', full + "x")), "a chunk of kind E with 4097 bytes");
    EXPECT_EQ(outcome(chunk('A', "x")), "a chunk of kind A with 1 bytes");
    EXPECT_EQ(outcome(chunk('A', full) + chunk('B', "xy")), "a chunk of kind B with 2 bytes");
    EXPECT_EQ(outcome(chunk('E', "x") + "$"), "bytes behind the last chunk");
}

class AvoipsimMakeImage : public testing::Test {
  protected:
    AvoipsimMakeImage() { options.path = path; }
    ~AvoipsimMakeImage() override { ::unlink(path.c_str()); }

    std::string make() {
        std::string problem;
        EXPECT_TRUE(MakeImage_write(options, problem)) << problem;
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }

    FirmwareInfoBlock readBlock() {
        const int file = ::open(path.c_str(), O_RDONLY);
        const FirmwareInfoBlock block = Image_read(file);
        ::close(file);
        return block;
    }

    const std::string path =
        testing::TempDir() + "avoipsim_image_" + std::to_string(::getpid()) + ".bin";
    ImageOptions options;
};

TEST_F(AvoipsimMakeImage, the_info_block_says_what_was_asked_for) {
    options.name = "Video-TX-2";
    options.version = "1.2.6";
    options.size = 10000;
    EXPECT_EQ(make().size(), static_cast<std::size_t>(kInfoBlockOffset) + kInfoBlockSize);
    const FirmwareInfoBlock block = readBlock();
    EXPECT_EQ(block.magic, kImageMagic);
    EXPECT_STREQ(block.name.data(), "Video-TX-2");
    EXPECT_EQ(ImageStream_version(block), "1.2.6");
    EXPECT_EQ(block.size, 10000);
}

TEST_F(AvoipsimMakeImage, a_full_image_carries_its_block_in_the_payload) {
    const std::string image = make();
    EXPECT_EQ(image.size(), 16U << 20);
    ImageStream received;
    take(received, stream(image));
    ASSERT_TRUE(ImageStream_info(received));
    EXPECT_EQ(ImageStream_version(*ImageStream_info(received)), "1.1.0");
    EXPECT_STREQ(ImageStream_info(received)->name.data(), "Video-TX-1");
}

TEST_F(AvoipsimMakeImage, a_short_image_tells_its_version_too_but_a_tiny_one_cannot) {
    options.version = "3.2.1";
    for (const std::int32_t size : {5000, 396, 395, 0}) {
        options.size = size;
        const std::string image = make();
        ImageStream received;
        take(received, stream(image.substr(0, static_cast<std::size_t>(size))));
        EXPECT_EQ(
            ImageStream_info(received) ? ImageStream_version(*ImageStream_info(received)) : "none",
            size >= 396 ? "3.2.1" : "none");
        EXPECT_EQ(readBlock().size, size);
    }
}

TEST_F(AvoipsimMakeImage, no_two_chunks_are_alike) {
    options.size = 3 * 4096;
    const std::string image = make();
    EXPECT_NE(image.substr(4096, 4096), image.substr(8192, 4096));
}

TEST_F(AvoipsimMakeImage, a_file_that_cannot_be_written_is_explained) {
    options.path = "/nowhere/image";
    std::string problem;
    EXPECT_FALSE(MakeImage_write(options, problem));
    EXPECT_EQ(problem, "image /nowhere/image cannot be written: No such file or directory");
}

TEST(AvoipsimVersion, is_three_numbers_up_to_255) {
    EXPECT_EQ(MakeImage_version("1.2.255"), (std::array<std::uint8_t, 3>{1, 2, 255}));
    for (const char* text : {"", "1", "1.2", "1.2.", "1.2.256", "1.2.3.4", "1..3", "a.b.c",
                             "1.2.3 ", " 1.2.3", "-1.2.3"}) {
        EXPECT_EQ(MakeImage_version(text), std::nullopt) << text;
    }
}

}  // namespace

}  // namespace avoip::sim
