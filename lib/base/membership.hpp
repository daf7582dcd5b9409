// The membership of a socket in a group, by the number of an interface.
#pragma once

#include <netinet/in.h>

namespace avoip {

/// For IP_ADD_MEMBERSHIP. qemu reads the number that a 64-bit program gives as a long, and none
/// where there is no room for one. The system itself does not mind what stands behind.
struct alignas(long) Membership : ip_mreqn {};

}  // namespace avoip
