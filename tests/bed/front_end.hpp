// A front end as front ends are: on the library for front ends, at the console of this machine.
#pragma once

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "lib/frontend/avoip_frontend.h"

namespace bed {

class FrontEnd {
  public:
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    using Text = std::unique_ptr<char, Free>;

    /// The answer to a line; null when there was none in time, and then result() and explanation()
    /// say why.
    Text ask(const std::string& line, std::chrono::milliseconds patience) {
        char* answer = nullptr;
        result_ = avoip_frontend_ask(handle_.get(), line.c_str(),
                                     static_cast<int>(patience.count()), &answer);
        return Text(answer);
    }

    avoip_result result() const { return result_; }
    std::string explanation() const { return avoip_frontend_error(handle_.get()); }

  private:
    struct Close {
        void operator()(avoip_frontend* handle) const { avoip_frontend_close(handle); }
    };

    std::unique_ptr<avoip_frontend, Close> handle_{
        avoip_frontend_open("127.0.0.1", AVOIP_CONSOLE_PORT)};
    avoip_result result_ = AVOIP_OK;
};

}  // namespace bed
