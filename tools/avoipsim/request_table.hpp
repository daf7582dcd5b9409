// The requests of the device protocol as a table of the documentation.
#pragma once

#include <string>

namespace avoip::sim {

/// A Markdown table with a row for each request of lib/wire.
std::string RequestTable_print();

}  // namespace avoip::sim
