#include "firmware/upload.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "base/output.hpp"
#include "firmware/tcp.hpp"
#include "lib/image/image.hpp"

namespace {

constexpr int kUploadPort = 5888;
constexpr int kSendTimeoutSeconds = 5;
constexpr int kReplyTimeoutSeconds = 300;
constexpr std::int32_t kChunkSizeMax = 4096;

/// A chunk as it goes on the stream: header and data side by side, so that one send takes both.
struct Chunk {
    std::array<unsigned char, 4> header;
    /// The data, and at the end the device's reply.
    std::array<char, kChunkSizeMax> data;
};
static_assert(sizeof(Chunk) == 4 + kChunkSizeMax, "no gap between header and data");

/// Opens an image file. Anything but a regular file counts as one that cannot be opened: opening a
/// terminal could make it the daemon's own, a FIFO has no end, and with some devices opening is an
/// order. What stands at the path is looked at before it is opened, and again when it is open.
int openImage(const char* path) {
    struct stat status {};
    if (::stat(path, &status) < 0 || !S_ISREG(status.st_mode)) {
        return -1;
    }
    const int file = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (file >= 0 && (::fstat(file, &status) < 0 || !S_ISREG(status.st_mode))) {
        ::close(file);
        return -1;
    }
    return file;
}

/// Reads a chunk's data from the file; what lies past its end is zero.
void readData(int file, std::int32_t at, std::span<char> data) {
    while (!data.empty()) {
        const ssize_t got = ::pread(file, data.data(), data.size(), at);
        if (got <= 0) {
            break;
        }
        data = data.subspan(static_cast<std::size_t>(got));
        at += static_cast<std::int32_t>(got);
    }
    std::ranges::fill(data, '\0');
}

char chunkKind(std::int32_t sent, std::int32_t remaining) {
    const bool last = remaining <= kChunkSizeMax;
    if (sent == 0) {
        return last ? 'E' : 'A';
    }
    return last ? 'D' : 'B';
}

int sendChunk(int socket, Chunk& chunk, char kind, std::int32_t length) {
    chunk.header = {'$', static_cast<unsigned char>(kind), static_cast<unsigned char>(length),
                    static_cast<unsigned char>(length >> 8)};
    return Tcp_SendPiece(socket, &chunk, chunk.header.size() + static_cast<std::size_t>(length),
                         kSendTimeoutSeconds);
}

/// Waits for the device's reply, at most `capacity` bytes of it, and prints it as a text: an empty
/// one when none came.
void awaitReply(int socket, Chunk& chunk, std::int32_t capacity) {
    chunk.data.fill('\0');
    Tcp_Recv(socket, chunk.data.data(), static_cast<std::size_t>(capacity), kReplyTimeoutSeconds);
    Output_print("read %.*s\n", kChunkSizeMax, chunk.data.data());
}

/// Sends the first `size` bytes of the file in chunks. @return 0, or -1 after "Tcp_Send err!"
int sendImage(int socket, int file, std::int32_t size, bool wait) {
    Chunk chunk;
    std::int32_t length = 0;
    for (std::int32_t sent = 0; sent < size; sent += length) {
        const std::int32_t remaining = size - sent;
        length = std::min(remaining, kChunkSizeMax);
        readData(file, sent, std::span(chunk.data).first(static_cast<std::size_t>(length)));
        if (sendChunk(socket, chunk, chunkKind(sent, remaining), length) < 0) {
            Output_print("Tcp_Send err!\n");
            return -1;
        }
    }
    // A device that was sent nothing has nothing to reply to.
    if (wait && size > 0) {
        awaitReply(socket, chunk, length);
    }
    return 0;
}

/// Prints what the image says of itself and tests its name.
bool isMeantFor(const avoip::FirmwareInfoBlock& block, const char* kind) {
    Output_print("### Firmware Update Image Info: ###\n");
    Output_print("Firmware name   : %s\n", block.name.data());
    Output_print("Firmware version: V%d.%d.%d\n", block.version[0], block.version[1],
                 block.version[2]);
    Output_print("Firmware size   :%d\n", block.size);
    if (std::strstr(block.name.data(), kind) == nullptr) {
        Output_print("Firmware upgrade is not an encoder!\n");
        return false;
    }
    return true;
}

int upload(const char* ip, const char* path, bool wait, const char* kind) {
    if (ip == nullptr || path == nullptr) {
        Output_print("param err!\n");
        return -1;
    }
    const int file = openImage(path);
    if (file < 0) {
        Output_print("%s open failed...\n", path);
        return -1;
    }
    const avoip::FirmwareInfoBlock block = avoip::Image_read(file);
    // These failures leave the file open (kept: image-left-open).
    if (block.magic != avoip::kImageMagic) {
        Output_print("Image magic err!\n");
        return -1;
    }
    if (!isMeantFor(block, kind)) {
        return -1;
    }
    if (block.size < 0) {
        Output_print("Firmware size is negative!\n");
        ::close(file);
        return -1;
    }
    const int socket = Tcp_Connect(ip, kUploadPort);
    if (socket < 0) {
        Output_print("Connect error\n");
        return -1;
    }
    const int result = sendImage(socket, file, block.size, wait);
    ::close(socket);
    ::close(file);
    return result;
}

}  // namespace

int Main_update_encoder(ProtocolClient* /*client*/, const char* ip, const char* path, bool wait) {
    return upload(ip, path, wait, "TX");
}

int Main_update_decoder(ProtocolClient* /*client*/, const char* ip, const char* path, bool wait) {
    return upload(ip, path, wait, "RX");
}
