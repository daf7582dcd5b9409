// A client of HTTP/1.1 on one connection to 127.0.0.1, as plain as it can be.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lib/base/descriptor.hpp"

namespace bed {

struct HttpAnswer {
    int status = 0;
    /// By their names in lower case; the last one where a name stands twice.
    std::map<std::string, std::string> headers = {};
    std::string body = {};
};

class Http {
  public:
    /// Connects, and tries again until somebody listens there.
    explicit Http(std::uint16_t port);

    /// Sends a request and waits for its answer. `headers` are whole lines without their ends. A
    /// body is JSON unless a line says otherwise.
    HttpAnswer ask(const std::string& method, const std::string& path, const std::string& body = {},
                   const std::vector<std::string>& headers = {});

    /// Sends bytes as they are.
    void send(std::string_view bytes);
    /// Waits for the answer to what was sent; `head`: one without a body.
    HttpAnswer receive(bool head = false);

    /// Waits until `text` has come on a stream; gives what came up to it, and that. Throws when the
    /// connection ends before.
    std::string await(std::string_view text);
    /// Reads until the connection ends; gives what came.
    std::string awaitClosed();

  private:
    bool more();

    avoip::Descriptor socket_;
    std::string come_;
};

/// One request on a connection of its own.
HttpAnswer ask(std::uint16_t port, const std::string& method, const std::string& path,
               const std::string& body = {}, const std::vector<std::string>& headers = {});

}  // namespace bed
