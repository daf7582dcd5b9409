#include "avoipsim/upload_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <span>

#include "avoipsim/ipv4.hpp"
#include "lib/wire/wire.hpp"

namespace avoip::sim {
namespace {

// What is read from one connection before the others have their turn.
constexpr std::size_t kPieceSize = 65536;

bool isFaulty(const UploadOptions& options, const std::string& device) {
    const auto& devices = options.faultDevices;
    return devices.empty() || std::find(devices.begin(), devices.end(), device) != devices.end();
}

Descriptor listenOn(const std::string& address, std::string& problem) {
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(kUploadPort);
    local.sin_addr.s_addr = htonl(Ipv4_parse(address).value_or(INADDR_ANY));
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 ||
        ::listen(socket.get(), SOMAXCONN) != 0) {
        problem = "TCP port 5888 of " + address + " cannot be had: " + std::strerror(errno) +
                  (errno == EADDRINUSE
                       ? "; another fleet may be running here (\"ss -tlpn\" shows who has it)"
                       : "; where some devices refuse uploads, the addresses of the others must "
                         "be local, for example by \"ip route add local RANGE dev lo\"");
        return {};
    }
    return socket;
}

/// Refusing is the system's doing, where nothing listens: then each other device has a socket of
/// its own, which may be more than the usual limit on descriptors allows.
std::vector<std::string> listenAddresses(const UploadOptions& options, const Fleet& fleet) {
    if (!options.refuse) {
        return {"0.0.0.0"};
    }
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<std::string> addresses;
    for (const Device& device : fleet.devices) {
        if (!isFaulty(options, device.id)) {
            addresses.push_back(Device_text(device, "netparams", "devaddr"));
        }
    }
    return addresses;
}

std::string imagePath(const UploadOptions& options, const std::string& device, const char* ending) {
    return options.storeFolder + "/" + device + ending;
}

void log(const Fleet& fleet, const UploadConnection& connection, const char* event,
         const std::string& result = "") {
    const Json line = Log_begin(event);
    Json_addText(line.get(), "device", connection.device);
    if (!result.empty()) {
        Json_addText(line.get(), "result", result);
        Json_addText(line.get(), "bytes", std::to_string(connection.stream.imageSize));
    }
    Log_write(fleet.log, line);
}

void reset(const Descriptor& socket) {
    const linger atOnce{1, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

std::string localAddress(const Descriptor& socket) {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&local), &length);
    return Ipv4_text(ntohl(local.sin_addr.s_addr));
}

void acceptFrom(UploadServer& server, Fleet& fleet, const Descriptor& listener) {
    for (;;) {
        Descriptor socket(
            ::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket.isOpen()) {
            return;
        }
        const Device* device = Fleet_deviceAt(fleet, localAddress(socket));
        if (device == nullptr || !Fleet_listens(fleet, *device, Clock::now())) {
            reset(socket);
            continue;
        }
        UploadConnection& connection = server.connections.emplace_back();
        connection.socket = std::move(socket);
        connection.device = device->id;
        connection.faulty = isFaulty(server.options, device->id);
        if (!server.options.storeFolder.empty()) {
            connection.stream.file.reset(
                std::fopen(imagePath(server.options, device->id, ".part").c_str(), "we"));
        }
        log(fleet, connection, "upload begins");
    }
}

std::optional<std::uint64_t> limitOf(const UploadServer& server,
                                     const UploadConnection& connection) {
    if (!connection.faulty) {
        return std::nullopt;
    }
    return server.options.closeAfter ? server.options.closeAfter : server.options.stopAfter;
}

/// Takes over a complete image. The text is the device's answer.
std::string install(const UploadServer& server, Fleet& fleet, UploadConnection& connection) {
    Device& device = *Fleet_device(fleet, connection.device);
    const auto info = ImageStream_info(connection.stream);
    const std::string name = info ? info->name.data() : Device_type(device);
    if (name.find(Device_type(device)) == std::string::npos) {
        log(fleet, connection, "upload ends", "not for this kind of device: " + name);
        return "failure";
    }
    if (connection.stream.file != nullptr) {
        connection.stream.file.reset();
        std::rename(imagePath(server.options, device.id, ".part").c_str(),
                    imagePath(server.options, device.id, ".bin").c_str());
    }
    if (info) {
        Device_set(device, "device", "version", ImageStream_version(*info));
    }
    log(fleet, connection, "upload ends", "success");
    device.silentUntil = Clock::now() + fleet.options.rebootTime;
    return "success";
}

/// True when the peer is gone or will send no more.
bool isHungUp(const Descriptor& socket) {
    pollfd watched{socket.get(), POLLRDHUP, 0};
    return ::poll(&watched, 1, 0) > 0;
}

// The three steps below return false when the connection is to be closed.

bool answer(const UploadServer& server, Fleet& fleet, UploadConnection& connection) {
    if (Clock::now() < *connection.answerAt) {
        return true;
    }
    connection.answerAt.reset();
    const std::string text = install(server, fleet, connection);
    if (connection.faulty && server.options.noAnswer) {
        connection.stopped = true;
        return true;
    }
    // Who does not wait for the answer has closed the connection by now.
    ::send(connection.socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
    return false;
}

bool take(const UploadServer& server, const Fleet& fleet, UploadConnection& connection,
          std::span<const unsigned char> bytes) {
    ImageStream& stream = connection.stream;
    connection.received += bytes.size();
    ImageStream_take(stream, bytes);
    if (stream.state == ImageStreamState::kWrong) {
        log(fleet, connection, "upload ends", stream.problem);
        return false;
    }
    if (stream.state == ImageStreamState::kComplete) {
        const int ms = connection.faulty ? server.options.answerAfter_ms : 0;
        connection.answerAt = Clock::now() + std::chrono::milliseconds(ms);
    }
    return true;
}

bool receive(const UploadServer& server, const Fleet& fleet, UploadConnection& connection) {
    static std::array<unsigned char, kPieceSize> piece;
    std::size_t room = piece.size();
    if (const auto limit = limitOf(server, connection)) {
        const std::uint64_t left = *limit - connection.received;
        room = static_cast<std::size_t>(std::min<std::uint64_t>(room, left));
    }
    if (room == 0) {
        const bool stops = !server.options.closeAfter;
        log(fleet, connection, "upload ends", stops ? "stopped reading" : "closed on purpose");
        connection.stopped = stops;
        return stops;
    }
    const ssize_t size = ::recv(connection.socket.get(), piece.data(), room, 0);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return true;
    }
    if (size <= 0) {
        log(fleet, connection, "upload ends", "the sender closed the connection");
        return false;
    }
    return take(server, fleet, connection, std::span(piece).first(static_cast<std::size_t>(size)));
}

bool serve(const UploadServer& server, Fleet& fleet, UploadConnection& connection) {
    if (connection.stopped) {
        return !isHungUp(connection.socket);
    }
    if (!connection.answerAt && !receive(server, fleet, connection)) {
        return false;
    }
    return !connection.answerAt || answer(server, fleet, connection);
}

}  // namespace

bool UploadServer_open(UploadServer& server, Fleet& fleet, std::string& problem) {
    const UploadOptions& options = server.options;
    for (const std::string& id : options.faultDevices) {
        if (Fleet_device(fleet, id) == nullptr) {
            problem = "--upload-fault-devices names " + id + ", which is no device of this fleet";
            return false;
        }
    }
    std::error_code error;
    if (!options.storeFolder.empty()) {
        std::filesystem::create_directories(options.storeFolder, error);
    }
    if (error) {
        problem = "folder " + options.storeFolder + " cannot be made: " + error.message();
        return false;
    }
    for (const std::string& address : listenAddresses(options, fleet)) {
        server.listeners.push_back(listenOn(address, problem));
        if (!server.listeners.back().isOpen()) {
            return false;
        }
    }
    return true;
}

void UploadServer_watch(const UploadServer& server, std::vector<pollfd>& watched) {
    for (const Descriptor& listener : server.listeners) {
        watched.push_back({listener.get(), POLLIN, 0});
    }
    for (const UploadConnection& connection : server.connections) {
        if (connection.stopped) {
            watched.push_back({connection.socket.get(), POLLRDHUP, 0});
        } else if (!connection.answerAt) {
            watched.push_back({connection.socket.get(), POLLIN, 0});
        }
    }
}

std::optional<Clock::time_point> UploadServer_due(const UploadServer& server) {
    std::optional<Clock::time_point> due;
    for (const UploadConnection& connection : server.connections) {
        if (connection.answerAt) {
            due = due ? std::min(*due, *connection.answerAt) : connection.answerAt;
        }
    }
    return due;
}

void UploadServer_work(UploadServer& server, Fleet& fleet) {
    for (const Descriptor& listener : server.listeners) {
        acceptFrom(server, fleet, listener);
    }
    server.connections.remove_if(
        [&](UploadConnection& connection) { return !serve(server, fleet, connection); });
}

}  // namespace avoip::sim
