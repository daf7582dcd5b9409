// The lines that the soak program gives the console, each with all that must come of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "soak/random.hpp"

namespace soak {

inline constexpr int kEncoders = 100;
inline constexpr int kDecoders = 100;

/// The most bytes that the daemon reads as one line.
inline constexpr std::size_t kLongestLine = 4095;

/// What becomes of a line while the devices can be reached.
enum class Ending : std::uint8_t {
    kSucceeds,
    kEither,  ///< As the devices' faults will have it.
    kFails,
};

struct Line {
    /// With its "!".
    std::string text;
    /// The requests that it sends, whole.
    std::vector<std::string> datagrams;
    /// The success answer; where it has data, what stands before the data.
    std::string success;
    bool hasData = false;
    /// The key of the data, and the device that is asked for them; none in a listing.
    std::string data{};
    std::string device{};
    std::string failure;
    Ending ending = Ending::kSucceeds;
};

/// One of the commands that only send something. `number` is in its datagrams, or in all but one of
/// them, as a device's identity, and in no other line's.
Line oneWayLine(Random& random, std::uint64_t number);
/// One of the commands that ask one device something.
Line readingLine(Random& random);
/// A device that there is not: fails when the reply has been waited for, 3 s.
Line unansweredLine(std::uint64_t number);
/// One of the commands that list devices.
Line listingLine(Random& random);
/// A line that is no command; its answer names the number.
Line unknownLine(std::uint64_t number);
/// Firmware for one encoder.
Line uploadLine(int encoder, const std::string& image);

/// Whether `answer` is a right one.
bool isRightAnswer(const Line& line, std::string_view answer, bool devicesCanBeReached);

/// The identity of an encoder or a decoder, counted from 1.
std::string encoderId(int number);
std::string decoderId(int number);

/// The answer to a line that is no command.
std::string unknownAnswer(std::string_view text);

/// The lines that the daemon makes of the bytes that one connection sends, as it prints them.
std::vector<std::string> linesIn(std::string_view bytes);

}  // namespace soak
