// Creating a client when there is no memory for it.
#include <gtest/gtest.h>

#include <cstddef>
#include <new>

#include "capture_output.hpp"
#include "client_bed.hpp"
#include "descriptors.hpp"
#include "protocol/client.hpp"

namespace {

bool memoryIsOut = false;

}  // namespace

// What the client is allocated with.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    if (memoryIsOut) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

TEST(CreateClientWithoutMemory, is_reported_and_opens_no_socket) {
    ProtocolClient* client = nullptr;
    std::int32_t result = 0;
    const int before = openDescriptors();
    const CapturedOutput captured = captureOutput([&] {
        memoryIsOut = true;
        result = Protocol_client_create(&client, "eth0.2", "Control", kHostIdentity, bed::kGroup,
                                        bed::kRequestPort);
        memoryIsOut = false;
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(client, nullptr);
    EXPECT_EQ(captured.output, "client malloc err!\n");
    EXPECT_EQ(captured.errors, "");
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
