// Video walls. That a decoder shows its tile cannot be asked of it: what is kept is what was sent.
#pragma once

#include <string>

#include "gateway/operations/operations.hpp"

struct cJSON;

namespace avoip::gw {

/// Reads {"encoder","columns","rows","width","height","bezel":{"horizontal","vertical"},
/// "tiles":[{"decoder","column","row"}]} for the wall `name`; "bezel" and "tiles" may be left out.
/// A "name" must be the same one; "computed" is passed over, so that what GET gives may be put
/// back.
Outcome<Wall> Wall_readBody(const std::string& name, const cJSON* body);

/// Sets each tile, takes out the decoders that the wall had and has no more, and keeps the wall.
/// Gives whether it is new.
Outcome<bool> Walls_put(Operations& operations, const Actor& actor, const Wall& wall);

/// Takes all tiles out and forgets the wall: 404 when there is none.
Outcome<Done> Walls_remove(Operations& operations, const Actor& actor, const std::string& name);

}  // namespace avoip::gw
