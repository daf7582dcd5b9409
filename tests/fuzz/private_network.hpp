// A network of the process's own with nothing in it but the loopback interface, so that no input
// reaches anybody.
#pragma once

namespace fuzz {

/// Moves the process there. Call it while there is one thread. Ends the process when the system
/// does not allow it.
void enterPrivateNetwork();

}  // namespace fuzz
