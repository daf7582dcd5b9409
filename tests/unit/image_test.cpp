// The info block of a firmware image: which byte means what.
#include "lib/image/image.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "lib/base/descriptor.hpp"

namespace {

using Block = std::array<unsigned char, avoip::kInfoBlockSize>;

/// A block with something in every byte that no field uses.
Block typicalBlock() {
    Block block;
    block.fill(0xEE);
    const auto put = [&block](std::size_t at, const std::string& bytes) {
        std::copy(bytes.begin(), bytes.end(), block.begin() + static_cast<std::ptrdiff_t>(at));
    };
    put(0, "\x56\x19\x05\x27");
    put(4, "\x06\x02\x01");
    put(40, std::string("Video-TX-2\0rest", 15));
    put(104, std::string("\x10\x27\0\0", 4));
    return block;
}

avoip::Descriptor memoryFile(const void* bytes, std::size_t count, off_t offset) {
    avoip::Descriptor file(::memfd_create("image", MFD_CLOEXEC));
    EXPECT_EQ(::pwrite(file.get(), bytes, count, offset), static_cast<ssize_t>(count));
    return file;
}

void expectEmpty(const avoip::FirmwareInfoBlock& block) {
    EXPECT_EQ(block.magic, 0U);
    EXPECT_EQ(block.version, (std::array<std::uint8_t, 3>{}));
    EXPECT_STREQ(block.name.data(), "");
    EXPECT_EQ(block.size, 0);
}

TEST(ImageDecode, every_field_stands_at_its_place_little_endian) {
    const avoip::FirmwareInfoBlock block = avoip::Image_decode(typicalBlock());
    EXPECT_EQ(block.magic, 0x27051956U);
    EXPECT_EQ(block.magic, avoip::kImageMagic);
    EXPECT_STREQ(block.name.data(), "Video-TX-2");
    EXPECT_EQ(block.size, 10000);
}

TEST(ImageDecode, the_version_stands_in_the_file_in_reverse) {
    const avoip::FirmwareInfoBlock block = avoip::Image_decode(typicalBlock());
    EXPECT_EQ(block.version, (std::array<std::uint8_t, 3>{1, 2, 6}));
}

TEST(ImageDecode, a_magic_in_the_other_byte_order_is_another_number) {
    Block bytes = typicalBlock();
    std::reverse(bytes.begin(), bytes.begin() + 4);
    EXPECT_EQ(avoip::Image_decode(bytes).magic, 0x56190527U);
}

TEST(ImageDecode, a_name_that_fills_its_field_ends_with_the_field) {
    Block bytes = typicalBlock();
    std::fill_n(bytes.begin() + 40, 64, static_cast<unsigned char>('n'));
    EXPECT_EQ(avoip::Image_decode(bytes).name.data(), std::string(64, 'n'));
}

TEST(ImageDecode, the_size_is_signed) {
    Block bytes = typicalBlock();
    std::fill_n(bytes.begin() + 104, 4, static_cast<unsigned char>(0xFF));
    EXPECT_EQ(avoip::Image_decode(bytes).size, -1);
    bytes[107] = 0x7F;
    EXPECT_EQ(avoip::Image_decode(bytes).size, 2147483647);
}

TEST(ImageEncode, puts_every_field_at_its_place_and_zeros_elsewhere) {
    avoip::FirmwareInfoBlock block{
        .magic = avoip::kImageMagic, .version = {1, 2, 6}, .name = {}, .size = 10000};
    std::string_view("Video-TX-2").copy(block.name.data(), avoip::kImageNameSize);
    Block expected{};
    const Block typical = typicalBlock();
    std::copy_n(typical.begin(), 7, expected.begin());
    std::copy_n(typical.begin() + 40, 10, expected.begin() + 40);
    std::copy_n(typical.begin() + 104, 4, expected.begin() + 104);
    EXPECT_EQ(avoip::Image_encode(block), expected);
}

TEST(ImageEncode, what_it_writes_decodes_to_the_same) {
    avoip::FirmwareInfoBlock block{
        .magic = 0x80FF00AA, .version = {255, 0, 128}, .name = {}, .size = -5};
    std::fill_n(block.name.begin(), avoip::kImageNameSize, 'x');
    const avoip::FirmwareInfoBlock again = avoip::Image_decode(avoip::Image_encode(block));
    EXPECT_EQ(again.magic, block.magic);
    EXPECT_EQ(again.version, block.version);
    EXPECT_EQ(again.name, block.name);
    EXPECT_EQ(again.size, block.size);
}

TEST(ImageRead, finds_the_block_64_kib_before_16_mib) {
    const Block bytes = typicalBlock();
    const avoip::Descriptor file = memoryFile(bytes.data(), bytes.size(), 16 * 1024 * 1024 - 65536);
    EXPECT_EQ(avoip::Image_encode(avoip::Image_read(file.get())),
              avoip::Image_encode(avoip::Image_decode(bytes)));
}

TEST(ImageRead, of_a_file_that_ends_before_the_block_everything_is_zero) {
    expectEmpty(avoip::Image_read(memoryFile("short", 5, 0).get()));
    expectEmpty(avoip::Image_read(memoryFile("x", 1, avoip::kInfoBlockOffset - 1).get()));
}

TEST(ImageRead, of_a_file_that_ends_within_the_block_the_rest_is_zero) {
    const Block bytes = typicalBlock();
    const avoip::FirmwareInfoBlock block =
        avoip::Image_read(memoryFile(bytes.data(), 105, avoip::kInfoBlockOffset).get());
    EXPECT_EQ(block.magic, avoip::kImageMagic);
    EXPECT_STREQ(block.name.data(), "Video-TX-2");
    EXPECT_EQ(block.size, 0x10);
}

TEST(ImageRead, of_what_cannot_be_read_everything_is_zero) {
    expectEmpty(avoip::Image_read(-1));
}

}  // namespace
