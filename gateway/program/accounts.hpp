// "avoipgw user ..." and "avoipgw token ...": users and tokens, from a terminal on the machine.
#pragma once

#include <string>

#include "gateway/program/options.hpp"

namespace avoip::gw {

/// Does what the options say in the data folder. Prints on standard output what was asked for, and
/// on standard error what went wrong. Gives the exit status: 0, or 1.
int Accounts_run(const Options& options, const std::string& data);

}  // namespace avoip::gw
