#include "bed/http.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "bed/wait.hpp"

namespace bed {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

avoip::Descriptor connectTo(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    avoip::Descriptor socket;
    awaitCondition("somebody listens for HTTP", [&] {
        socket = avoip::Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                         sizeof address) == 0;
    });
    return socket;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter | 0x20) : letter;
    });
    return text;
}

/// The status and the headers of what stands before a body.
HttpAnswer readHead(std::string_view head) {
    HttpAnswer answer;
    answer.status = std::stoi(std::string(head.substr(head.find(' ') + 1, 3)));
    for (std::size_t at = head.find(kLineEnd); at != std::string_view::npos;) {
        head.remove_prefix(at + kLineEnd.size());
        at = head.find(kLineEnd);
        const std::string_view line = head.substr(0, at);
        const std::size_t colon = line.find(": ");
        if (colon != std::string_view::npos) {
            answer.headers[lowerCase(std::string(line.substr(0, colon)))] = line.substr(colon + 2);
        }
    }
    return answer;
}

}  // namespace

Http::Http(std::uint16_t port) : socket_(connectTo(port)) {}

bool Http::more() {
    std::array<char, 65536> buffer{};
    if (!awaitReadable(socket_.get())) {
        throw std::runtime_error("nothing came over HTTP; so far: " + come_);
    }
    const ssize_t size = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
    come_.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return size > 0;
}

void Http::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return;  // what the other end says before it ends the connection is read later
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::string Http::await(std::string_view text) {
    std::size_t at = come_.find(text);
    while (at == std::string::npos) {
        if (!more()) {
            throw std::runtime_error("the connection ended; what came is: " + come_);
        }
        at = come_.find(text);
    }
    std::string before = come_.substr(0, at + text.size());
    come_.erase(0, before.size());
    return before;
}

std::string Http::awaitClosed() {
    while (more()) {
    }
    return std::move(come_);
}

HttpAnswer Http::receive(bool head) {
    HttpAnswer answer = readHead(await("\r\n\r\n"));
    const auto length = answer.headers.find("content-length");
    if (head || length == answer.headers.end()) {
        return answer;
    }
    const std::size_t size = std::stoul(length->second);
    while (come_.size() < size && more()) {
    }
    answer.body = come_.substr(0, size);
    come_.erase(0, size);
    return answer;
}

HttpAnswer Http::ask(const std::string& method, const std::string& path, const std::string& body,
                     const std::vector<std::string>& headers) {
    std::string request = method + " " + path + " HTTP/1.1\r\n";
    bool typed = false;
    bool hosted = false;
    for (const std::string& line : headers) {
        request.append(line).append(kLineEnd);
        typed = typed || line.starts_with("Content-Type:");
        hosted = hosted || line.starts_with("Host:");
    }
    request.append(hosted ? "" : "Host: localhost\r\n");
    if (!body.empty()) {
        request.append(typed ? "" : "Content-Type: application/json\r\n");
        request.append("Content-Length: " + std::to_string(body.size())).append(kLineEnd);
    }
    send(request.append(kLineEnd).append(body));
    return receive(method == "HEAD");
}

HttpAnswer ask(std::uint16_t port, const std::string& method, const std::string& path,
               const std::string& body, const std::vector<std::string>& headers) {
    return Http(port).ask(method, path, body, headers);
}

}  // namespace bed
