// What the devices reply, as it comes over the cable, and whose data an answer holds.
//
// A reply has no mark of its request, so the daemon takes one that is too many or too late for the
// reply to its next question. Such an answer is told from one with the asked
// device's own data, and from data that no device has sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bed/cable.hpp"
#include "lib/base/json.hpp"
#include "soak/lines.hpp"

namespace soak {

/// Whose data a success answer holds.
enum class Origin : std::uint8_t {
    kOwn,    ///< of the device that was asked, sent since it was; of a listing: of all that replied
    kStale,  ///< of a reply from before
    kNobody  ///< no reply holds them, or one was listed and another not
};

class Replies {
  public:
    /// Listens on the cable of the calling thread's network namespace.
    Replies();

    /// What has come so far belongs to commands that have ended.
    void beginCommand();

    /// Whose data stand in `answer`, a success answer to `line`, which is the last command.
    Origin originOf(const Line& line, const std::string& answer);

  private:
    struct Reply {
        std::string text;
        avoip::Json tree{};  ///< of the text, read when it is first looked at
        bool taken = false;  ///< an answer holds it already
        bool isRead = false;
    };

    void hear();
    Origin originOfOne(const Line& line, const cJSON* data);
    Origin originOfList(const cJSON* rows);
    /// The "ack" and the record of a reply to `cmd` that succeeded; null when it is none.
    static const cJSON* ackOf(Reply& reply, std::string_view cmd);
    static const cJSON* recordOf(Reply& reply, std::string_view cmd);

    bed::Cable cable_;
    std::vector<Reply> replies_;
    /// How many of them came before the last command.
    std::size_t before_ = 0;
};

}  // namespace soak
