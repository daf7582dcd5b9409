// The description of the API (OpenAPI 3.1), made of the rows of endpoint.hpp and of the schemas
// that stand in schemas.json.
#pragma once

#include <string>

namespace avoip::gw {

std::string Description_text(const std::string& version);

}  // namespace avoip::gw
