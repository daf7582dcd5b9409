// Client_update: the one command during which others go on.

#include <arpa/inet.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "lib/client/client.hpp"
#include "lib/client/questions.hpp"
#include "lib/frontend/answer_name.hpp"
#include "lib/frontend/sockets.hpp"

namespace avoip {

namespace {

/// How long the turn is kept at most: the opening discovery takes a second of silence, and a large
/// fleet some time to fall silent.
constexpr int kDiscoveryMs = 3'000;

/// Between two looks: whether the upload has begun, and later whether the answer is there.
constexpr int kLookMs = 20;
constexpr auto kPause = std::chrono::milliseconds(50);

/// Before the first question whether the daemon is done, and at most before each later one.
constexpr int kFirstProbeMs = 5'000;
constexpr int kLongestProbeMs = 30'000;

/// How long such a question waits for its turn, and for its answer.
constexpr int kProbeTurnMs = 1'000;
constexpr int kProbeAnswerMs = 200;

constexpr std::size_t kUploadsMax = 1'024;

using Uploads = std::vector<UploadConnection>;

Uploads uploadsNow() {
    Uploads uploads(kUploadsMax);
    uploads.resize(Sockets_uploads(uploads.data(), uploads.size()));
    return uploads;
}

std::vector<std::uint32_t> numbersOf(std::span<const std::string> addresses) {
    std::vector<std::uint32_t> numbers;
    for (const std::string& address : addresses) {
        in_addr number{};
        if (::inet_pton(AF_INET, address.c_str(), &number) == 1) {
            numbers.push_back(number.s_addr);
        }
    }
    return numbers;
}

/// An update that the daemon is at work on.
struct Work {
    Client& client;
    const NamedQuestion& named;
    std::vector<std::uint32_t> addresses;
    Uploads before;
    Deadline deadline;
    const std::function<void(UpdateStage)>& told;
    Segment segment = {};  ///< to look at beside those who have the turn
    bool sent = false;
    /// Whether somebody else waits for an answer with the same name, or may have.
    bool crowded = false;
    bool uploading = false;  ///< when it was last looked at
    bool begun = false;      ///< whether that was ever so
};

void tell(const Work& work, UpdateStage stage) {
    if (work.told) {
        work.told(stage);
    }
}

/// Whether an upload stands that can be this update's.
bool isUploading(const Work& work) {
    const Uploads now = uploadsNow();
    return std::ranges::any_of(now, [&](const UploadConnection& upload) {
        return std::ranges::find(work.before, upload) == work.before.end() &&
               (work.addresses.empty() ||
                std::ranges::find(work.addresses, upload.address) != work.addresses.end());
    });
}

/// Sees whether an upload stands, and tells of the first.
void lookAtUpload(Work& work) {
    work.uploading = isUploading(work);
    if (work.uploading && !work.begun) {
        work.begun = true;
        tell(work, UpdateStage::kUploading);
    }
}

/// The update's answer if it stands in the segment; empty otherwise. Whoever has the turn may clear
/// it, and another answer may be on its way over it, so it must be whole, twice.
std::string standingAnswer(const Work& work) {
    const std::string whole[] = {
        R"({"ack":{"cmd":")" + work.named.success + R"(","status":"success"}})",
        R"({"ack":{"cmd":")" + work.named.failure + R"(","status":"failure"}})",
    };
    std::string seen[2];
    for (std::string& text : seen) {
        if (!work.segment.hasAnswer()) {
            return {};
        }
        char* const copy = work.segment.copyAnswer();
        text = copy == nullptr ? "" : copy;
        std::free(copy);
    }
    const bool own = seen[0] == seen[1] && std::ranges::find(whole, seen[0]) != std::end(whole);
    return own ? seen[0] : "";
}

void noteNamesakes(Work& work) {
    const Notes& notes = work.client.turn.notes();
    const auto namesakes = std::count_if(
        notes.owed.begin(), notes.owed.begin() + notes.owedCount,
        [&](const OwedAnswer& owed) { return OwedAnswer_isNamed(owed, work.named.success); });
    // One is its own.
    work.crowded = work.crowded || namesakes > 1;
}

/// Puts the question, and keeps the turn until the upload has begun. Gives AVOIP_TIME_OUT when the
/// daemon is at work then, else how it ended before that.
avoip_result beginWork(Work& work, char** answer) {
    Dialogue& dialogue = work.client.dialogue;
    const int timeout_ms = Client_timeout_ms(work.client, work.named);
    if (const auto put = Dialogue_put(dialogue, work.named.question, work.deadline);
        put != AVOIP_OK) {
        return put;
    }
    work.sent = true;
    tell(work, UpdateStage::kAsked);
    work.segment.attach(work.deadline, work.client.why);
    const Deadline turnEnd = std::min(work.deadline, Deadline_in(kDiscoveryMs));
    avoip_result came = AVOIP_TIME_OUT;
    while (came == AVOIP_TIME_OUT && !isUploading(work) && Deadline_left_us(turnEnd) > 0) {
        came =
            Dialogue_await(dialogue, work.named.question, timeout_ms, Deadline_in(kLookMs), answer);
    }
    if (came == AVOIP_TIME_OUT) {
        lookAtUpload(work);
    }
    noteNamesakes(work);
    Dialogue_shareNoMore(dialogue);
    return came;
}

/// In a turn: asks whether the daemon is done. Gives AVOIP_TIME_OUT when it is not.
avoip_result probe(Work& work, char** answer) {
    noteNamesakes(work);
    const std::string standing = standingAnswer(work);
    const auto came = Dialogue_probe(work.client.dialogue, work.named.question,
                                     Deadline_in(kProbeAnswerMs), answer);
    // An answer that stood there while the daemon is still at work is somebody else's.
    work.crowded = work.crowded || (came == AVOIP_TIME_OUT && !standing.empty());
    if (came == AVOIP_OVERWRITTEN && !standing.empty() && !work.crowded) {
        *answer = ::strdup(standing.c_str());
        return AVOIP_OK;
    }
    if (came == AVOIP_OK && work.crowded) {
        std::free(*answer);
        *answer = nullptr;
        return AVOIP_TIME_OUT;
    }
    return came;
}

/// Waits for the end of the update, while others have their turns.
avoip_result awaitEnd(Work& work, char** answer) {
    Client& client = work.client;
    int pause_ms = kFirstProbeMs;
    Deadline due = Deadline_in(pause_ms);
    while (Deadline_left_us(work.deadline) > 0) {
        std::this_thread::sleep_for(kPause);
        if (!client.connection.stands()) {
            Reason_set(client.why,
                       "The daemon has ended the connection during the update. Look at "
                       "its output, and at the versions of the devices.");
            return AVOIP_NO_DAEMON;
        }
        const bool uploaded = work.uploading;
        lookAtUpload(work);
        // Behind the end of an upload the answer follows soon, or the next upload does.
        if (uploaded && !work.uploading) {
            pause_ms = kProbeAnswerMs;
            due = Deadline_in(pause_ms);
        }
        if (Deadline_left_us(due) > 0 && standingAnswer(work).empty()) {
            continue;
        }
        auto came = Client_enter(client, kProbeTurnMs);
        if (came == AVOIP_OK) {
            came = probe(work, answer);
            if (came == AVOIP_OK || came == AVOIP_OVERWRITTEN) {
                Dialogue_settle(client.dialogue);
            }
            Client_leave(client);
        }
        if (came != AVOIP_TIME_OUT && came != AVOIP_NO_TURN) {
            return came;
        }
        pause_ms = std::min(pause_ms * 2, kLongestProbeMs);
        due = Deadline_in(pause_ms);
    }
    Reason_set(client.why,
               "No answer within %d ms. The daemon may still be at work on the update; look at the "
               "versions of the devices.",
               Client_timeout_ms(client, work.named));
    return AVOIP_TIME_OUT;
}

}  // namespace

Reply Client_update(Client& client, const Request& update, std::span<const std::string> addresses,
                    const std::function<void(UpdateStage)>& told) {
    Reply checked = Request_check(update);
    if (!checked.succeeded()) {
        return checked;
    }
    const NamedQuestion named(checked.text);
    const int timeout_ms = Client_timeout_ms(client, named);
    Work work{client, named, numbersOf(addresses), uploadsNow(), Deadline_in(timeout_ms), told};
    char* answer = nullptr;
    auto result = Client_enter(client, timeout_ms);
    if (result == AVOIP_OK) {
        client.reader.clean = false;
        result = beginWork(work, &answer);
        Client_leave(client);
    }
    if (work.sent && result == AVOIP_TIME_OUT) {
        result = awaitEnd(work, &answer);
    }
    return Client_reply(client, named, result, answer);
}

}  // namespace avoip
