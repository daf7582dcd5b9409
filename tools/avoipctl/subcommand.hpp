// Commands of the catalogue as they are typed in a shell.
#pragma once

#include <string>

#include "lib/catalogue/catalogue.hpp"

namespace avoip::ctl {

/// The command's subcommand words: "alias set".
std::string Subcommand_words(const Command& command);

/// The command's example as typed in a shell: "avoipctl alias set tx01 'Meeting room 2'".
std::string Subcommand_example(const Command& command);

}  // namespace avoip::ctl
