// Reading the arguments of a command line, with the rules of C's sscanf: white space before a word
// or a number is passed over, a word ends at white space (so it may carry the "!"), the rest of a
// line ends before the first "!" and needs at least one character.
//
// The first step that finds nothing ends the scan: it and all steps after it give empty texts and
// zeros. What is returned is a view into the line, of any length; whoever stores it cuts it to the
// width of its field.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/fixed_text.hpp"

class LineScan {
  public:
    explicit LineScan(std::string_view line) : remaining_(line) {}

    /// "%*s", `count` times.
    LineScan& skipWords(int count);

    /// A literal text of the pattern, in which a blank stands for any white space, also none.
    LineScan& literal(std::string_view text);

    /// "%s".
    std::string_view word();

    /// " %[^!]".
    std::string_view rest();

    /// "%d". A number outside the range gives the nearest one inside.
    std::int32_t number();

    /// Whether every step so far has found something.
    [[nodiscard]] bool complete() const { return complete_; }

  private:
    void skipWhiteSpace();
    std::string_view stop();
    std::string_view take(std::size_t count);

    std::string_view remaining_;
    bool complete_ = true;
};

/// An identity as a field of 32 characters holds it: cut to 31.
DeviceId Scan_id(std::string_view identity);

/// The device list entry of an identity: the text read as a pattern (kept: percent-in-identity),
/// and cut to 31 characters then. "%%" gives one "%", any other directive gives nothing.
DeviceId Scan_expanded(std::string_view identity);

/// The same for the families that hold a typed identity in a field of 32 characters: cut to 31
/// first and then expanded.
DeviceId Scan_deviceEntry(std::string_view identity);
