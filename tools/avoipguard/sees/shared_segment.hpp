// The answer segment's place in the system: whether the key leads to a segment, and to whose.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace avoip::guard {

struct SharedSegment {
    int identifier = -1;
    bool isOwn = false;   ///< made by this user, for front ends of this group to write
    bool isFull = false;  ///< has room for the largest answer
    bool isRemovable = false;
    std::string owner;  ///< "user 1000", or what is known instead
};

/// The segment that the key leads to; nothing when there is none.
std::optional<SharedSegment> SharedSegment_look();

/// Makes the segment as the daemon would, before anybody else can. One that stands already stays.
/// False with errno when there is none then.
bool SharedSegment_make();

/// Takes the segment's key away, so that the next one to ask makes a new segment; whoever is
/// attached keeps the old memory. False when that was not possible.
bool SharedSegment_remove(const SharedSegment& segment);

}  // namespace avoip::guard
