// One upload: what it prints, what it sends, what it leaves open. The device is scripted and stands
// on the loop-back interface of a network of the test's own.
#include "firmware/upload.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <string>

#include "bed/image_file.hpp"
#include "bed/namespaces.hpp"
#include "bed/upload_port.hpp"
#include "call_outcome.hpp"

namespace {

constexpr const char* kAddress = "127.0.0.1";
constexpr const char* kConnectErrno = "115 Operation now in progress";

using UpdateFunction = int (*)(ProtocolClient*, const char*, const char*, bool);
using DeviceScript = std::function<void(bed::Upload)>;

/// How often the process has this file open.
long timesOpen(const std::string& path) {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::count_if(begin(entries), end(entries), [&path](const auto& entry) {
        std::error_code gone;
        return std::filesystem::read_symlink(entry.path(), gone) == path;
    });
}

void receiveAll(bed::Upload upload) {
    upload.receiveAll();
}

class Upload : public testing::Test {
  protected:
    Upload() { ::signal(SIGPIPE, SIG_IGN); }

    /// Uploads to a device that has its port open and does as the script says.
    CallOutcome upload(UpdateFunction update, const bed::ImageFile& image, bool wait,
                       const DeviceScript& script = receiveAll) {
        const bed::UploadPort port(kAddress);
        std::future<void> device;
        CallOutcome outcome = outcomeOf([&] {
            device = std::async(std::launch::async, [&] { script(port.accept()); });
            const int result = update(nullptr, kAddress, image.path().c_str(), wait);
            device.wait();
            return result;
        });
        device.get();
        return outcome;
    }

    /// Uploads where no device would take a connection.
    static CallOutcome uploadInVain(UpdateFunction update, const bed::ImageFile& image) {
        return outcomeOf([&] { return update(nullptr, kAddress, image.path().c_str(), true); });
    }

    bed::Namespaces namespaces_{bed::Control::kAbsent};
};

void expectDone(const CallOutcome& outcome, const std::string& output) {
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.said.output, output);
    EXPECT_EQ(outcome.leftOpen, 0);
}

void expectFailed(const CallOutcome& outcome, const std::string& output, int leftOpen) {
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, output);
    EXPECT_EQ(outcome.leftOpen, leftOpen);
}

struct Sequence {
    std::int32_t size;
    std::string kinds;
};

class UploadStream : public Upload, public testing::WithParamInterface<Sequence> {
  protected:
    void expectStream(UpdateFunction update, const std::string& name) {
        const bed::ImageFile image({.name = name, .size = GetParam().size});
        std::string stream;
        const CallOutcome outcome = upload(
            update, image, false, [&stream](bed::Upload device) { stream = device.receiveAll(); });
        expectDone(outcome, image.description());
        EXPECT_TRUE(stream == bed::chunkStream(GetParam().kinds, image.payload()));
    }
};

TEST_P(UploadStream, is_exact_for_encoders_and_decoders) {
    expectStream(Main_update_encoder, "AVOIP-TX");
    expectStream(Main_update_decoder, "AVOIP-RX");
}

INSTANTIATE_TEST_SUITE_P(Sizes, UploadStream,
                         testing::Values(Sequence{1, "E"}, Sequence{4095, "E"}, Sequence{4096, "E"},
                                         Sequence{4097, "AD"}, Sequence{8192, "AD"},
                                         Sequence{10000, "ABD"}, Sequence{12288, "ABD"},
                                         Sequence{16 * 1024 * 1024,
                                                  "A" + std::string(4094, 'B') + "D"}),
                         [](const auto& each) { return std::to_string(each.param.size); });

TEST_F(Upload, of_no_bytes_connects_sends_nothing_and_does_not_wait) {
    const bed::ImageFile image({.size = 0});
    std::string stream = "?";
    const CallOutcome outcome =
        upload(Main_update_encoder, image, true,
               [&stream](bed::Upload device) { stream = device.receiveAll(); });
    expectDone(outcome, image.description());
    EXPECT_EQ(stream, "");
}

TEST_F(Upload, sends_zeros_for_what_lies_behind_the_end_of_the_file) {
    const std::int64_t fileSize = bed::kImageBlockOffset + bed::kImageBlockSize;
    const auto size = static_cast<std::int32_t>(fileSize + 10000);
    const bed::ImageFile image({.size = size, .fileSize = fileSize});
    // Not zero before the end either, as far back as the upload may have read in one piece.
    const std::string before(1'000'000, 'x');
    const avoip::Descriptor file(::open(image.path().c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(::pwrite(file.get(), before.data(), before.size(),
                       bed::kImageBlockOffset - static_cast<off_t>(before.size())),
              static_cast<ssize_t>(before.size()));
    std::string stream;
    const CallOutcome outcome =
        upload(Main_update_encoder, image, false,
               [&stream](bed::Upload device) { stream = device.receiveAll(); });
    expectDone(outcome, image.description());
    const std::string payload = image.payload();
    EXPECT_EQ(payload.substr(payload.size() - 10000), std::string(10000, '\0'));
    const auto chunks = static_cast<std::size_t>((size + 4095) / 4096);
    const std::string kinds = "A" + std::string(chunks - 2, 'B') + "D";
    EXPECT_TRUE(stream == bed::chunkStream(kinds, payload));
}

TEST_F(Upload, two_at_a_time_do_not_mix) {
    const bed::ImageFile first({.name = "TX", .size = 3'000'000});
    const bed::ImageFile second({.name = "TX", .size = 9000});
    const bed::UploadPort firstPort("127.0.0.1");
    const bed::UploadPort secondPort("127.0.0.2");
    const auto start = [](const std::string& address, const bed::ImageFile& image) {
        return std::async(std::launch::async, [&image, address] {
            return Main_update_encoder(nullptr, address.c_str(), image.path().c_str(), false);
        });
    };
    captureOutput([&] {
        auto firstResult = start("127.0.0.1", first);
        bed::Upload firstDevice = firstPort.accept();
        std::string firstStream = firstDevice.receive(4100);
        auto secondResult = start("127.0.0.2", second);
        EXPECT_EQ(secondPort.accept().receiveAll(), bed::chunkStream("ABD", second.payload()));
        EXPECT_EQ(secondResult.get(), 0);
        firstStream += firstDevice.receiveAll();
        EXPECT_EQ(firstResult.get(), 0);
        const std::string kinds = "A" + std::string(731, 'B') + "D";
        EXPECT_TRUE(firstStream == bed::chunkStream(kinds, first.payload()));
    });
}

TEST_F(Upload, without_address_or_path_says_so) {
    for (const UpdateFunction update : {Main_update_encoder, Main_update_decoder}) {
        expectFailed(outcomeOf([update] { return update(nullptr, nullptr, "image", true); }),
                     "param err!\n", 0);
        expectFailed(outcomeOf([update] { return update(nullptr, kAddress, nullptr, true); }),
                     "param err!\n", 0);
    }
}

TEST_F(Upload, of_a_file_that_is_not_there_says_so) {
    for (const UpdateFunction update : {Main_update_encoder, Main_update_decoder}) {
        const CallOutcome outcome =
            outcomeOf([update] { return update(nullptr, kAddress, "/no/image", true); });
        expectFailed(outcome, "/no/image open failed...\n", 0);
    }
}

TEST_F(Upload, of_a_file_without_the_magic_leaves_it_open) {
    for (const bed::ImageFileOptions& options :
         {bed::ImageFileOptions{.magic = "\x27\x05\x19\x56"},
          bed::ImageFileOptions{.magic = "\x56\x19\x05\x28"},
          bed::ImageFileOptions{.fileSize = 10000}, bed::ImageFileOptions{.fileSize = 0},
          bed::ImageFileOptions{.fileSize = bed::kImageBlockOffset + 3}}) {
        const bed::ImageFile image(options);
        for (const UpdateFunction update : {Main_update_encoder, Main_update_decoder}) {
            expectFailed(uploadInVain(update, image), "Image magic err!\n", 1);
        }
        EXPECT_EQ(timesOpen(image.path()), 2);
    }
}

TEST_F(Upload, goes_by_the_capitals_in_the_name) {
    for (const std::string name : {"TX", "Video-TX-2", "aTX", "RXTX"}) {
        const bed::ImageFile image({.name = name, .size = 1});
        expectDone(upload(Main_update_encoder, image, false), image.description());
    }
    for (const std::string name : {"RX", "Video-RX-2", "aRX", "RXTX"}) {
        const bed::ImageFile image({.name = name, .size = 1});
        expectDone(upload(Main_update_decoder, image, false), image.description());
    }
}

TEST_F(Upload, of_an_image_with_another_name_leaves_the_file_open_and_speaks_of_encoders) {
    for (const std::string name : {"video-tx-2", "Tx", "T X", ""}) {
        const bed::ImageFile image({.name = name});
        for (const UpdateFunction update : {Main_update_encoder, Main_update_decoder}) {
            expectFailed(uploadInVain(update, image),
                         image.description() + "Firmware upgrade is not an encoder!\n", 1);
        }
        EXPECT_EQ(timesOpen(image.path()), 2);
    }
}

TEST_F(Upload, of_the_other_kind_is_refused) {
    const bed::ImageFile forDecoders({.name = "AVOIP-RX"});
    expectFailed(uploadInVain(Main_update_encoder, forDecoders),
                 forDecoders.description() + "Firmware upgrade is not an encoder!\n", 1);
    const bed::ImageFile forEncoders({.name = "AVOIP-TX"});
    expectFailed(uploadInVain(Main_update_decoder, forEncoders),
                 forEncoders.description() + "Firmware upgrade is not an encoder!\n", 1);
}

TEST_F(Upload, the_name_ends_with_its_field) {
    const bed::ImageFile last({.name = std::string(62, '-') + "TX", .size = 1});
    expectDone(upload(Main_update_encoder, last, false), last.description());
    // The byte behind the name belongs to the size; here it is an "X".
    const bed::ImageFile over({.name = std::string(63, '-') + "T", .size = 'X'});
    expectFailed(uploadInVain(Main_update_encoder, over),
                 over.description() + "Firmware upgrade is not an encoder!\n", 1);
}

TEST_F(Upload, of_a_negative_size_is_refused_before_connecting) {
    const bed::UploadPort port(kAddress);
    for (const std::int32_t size : {-1, -2147483647 - 1}) {
        const bed::ImageFile image({.size = size});
        expectFailed(uploadInVain(Main_update_encoder, image),
                     image.description() + "Firmware size is negative!\n", 0);
    }
    EXPECT_FALSE(port.hasConnection());
}

TEST_F(Upload, that_finds_no_device_leaves_the_file_open) {
    const bed::ImageFile image;
    expectFailed(uploadInVain(Main_update_encoder, image),
                 image.description() + "getsockopt SO_ERROR=111 errno:" + kConnectErrno +
                     "\nConnect error\n",
                 1);
    EXPECT_EQ(timesOpen(image.path()), 1);
}

TEST_F(Upload, to_an_address_that_is_none_leaves_the_file_open) {
    const bed::ImageFile image;
    const CallOutcome outcome =
        outcomeOf([&] { return Main_update_encoder(nullptr, "", image.path().c_str(), true); });
    expectFailed(outcome, image.description() + "ip: inet_pton error:0 Success\nConnect error\n",
                 1);
}

TEST_F(Upload, that_is_reset_in_the_middle_closes_everything) {
    const bed::ImageFile image({.size = 16 * 1024 * 1024});
    const CallOutcome outcome = upload(Main_update_encoder, image, true, [](bed::Upload device) {
        device.receive(10000);
        device.reset();
    });
    expectFailed(outcome,
                 image.description() + "send error:104 Connection reset by peerTcp_Send err!\n", 0);
}

TEST_F(Upload, that_the_device_ends_in_the_middle_closes_everything) {
    const bed::ImageFile image({.name = "RX", .size = 16 * 1024 * 1024});
    const CallOutcome outcome = upload(Main_update_decoder, image, true, [](bed::Upload device) {
        device.receive(10000);
        device.end();
    });
    // The device's system answers what came too late with a reset, sooner or later.
    const std::string& said = outcome.said.output;
    const bool isReset = said.find("send error:104 Connection reset by peer") != said.npos;
    expectFailed(
        outcome,
        image.description() +
            (isReset ? "send error:104 Connection reset by peer" : "send error:32 Broken pipe") +
            "Tcp_Send err!\n",
        0);
}

// What an upload of `size` bytes that waits prints last when the device replies as given.
class UploadReply : public Upload {
  protected:
    CallOutcome uploadWithReply(std::int32_t size, const std::string& reply, bool wait = true) {
        const bed::ImageFile image({.size = size});
        description_ = image.description();
        const auto streamSize = static_cast<std::size_t>(size + 4 * ((size + 4095) / 4096));
        return upload(Main_update_encoder, image, wait, [&](bed::Upload device) {
            device.receive(streamSize);
            if (!reply.empty()) {
                device.send(reply);
                device.receiveAll();
            }
        });
    }

    std::string description_;
};

TEST_F(UploadReply, is_printed) {
    const CallOutcome outcome = uploadWithReply(10000, "update ok");
    expectDone(outcome, description_ + "read update ok\n");
}

TEST_F(UploadReply, is_printed_up_to_its_first_zero) {
    const CallOutcome outcome = uploadWithReply(10000, std::string("update\0ok", 9));
    expectDone(outcome, description_ + "read update\n");
}

TEST_F(UploadReply, is_cut_to_the_length_of_the_last_chunk) {
    CallOutcome outcome = uploadWithReply(4097, "update ok");
    expectDone(outcome, description_ + "read u\n");
    outcome = uploadWithReply(3, "update ok");
    expectDone(outcome, description_ + "read upd\n");
}

TEST_F(UploadReply, may_fill_the_whole_buffer) {
    const CallOutcome outcome = uploadWithReply(8192, std::string(5000, 'r'));
    expectDone(outcome, description_ + "read " + std::string(4096, 'r') + "\n");
}

TEST_F(UploadReply, that_does_not_come_changes_nothing) {
    const CallOutcome outcome = uploadWithReply(10000, "");
    expectDone(outcome, description_ + "recv error:" + kConnectErrno + "read \n");
}

TEST_F(UploadReply, is_not_waited_for_without_the_flag) {
    // The device is silent until the connection ends.
    const bed::ImageFile image({.name = "RX"});
    expectDone(upload(Main_update_decoder, image, false), image.description());
}

}  // namespace
