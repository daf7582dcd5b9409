// Names of devices as people type them: an identity, or the alias that somebody gave the device.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Puts the identity in place of `name` where that is the alias of one device of the argument's
/// kind. A name that is no identity of the last list of devices is looked up in a new one; an
/// identity goes before an alias. What is neither stays as it is, if it can be an identity at all.
/// kWrongUsage, with a report and nothing sent, when several devices have the alias, or the name
/// can be no identity; else how a list of devices failed for which there is no daemon.
Status Names_resolve(Session& session, const Argument& argument, std::string& name);

/// The same for each value of a command that is an identity.
Status Names_resolveAll(Session& session, const Command& command, std::vector<std::string>& values);

}  // namespace avoip::ctl
