// Random texts and hashes, by GnuTLS.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace avoip::gw {

/// So many random bytes as lower-case hexadecimal digits; fit for secrets.
std::string Secret_random(std::size_t bytes);

/// SHA-256 as 64 lower-case hexadecimal digits.
std::string Secret_sha256(std::string_view bytes);

/// Whether two texts are equal, in a time that does not tell where they differ.
bool Secret_equal(std::string_view left, std::string_view right);

/// SHA-256 of what comes piece by piece.
class Sha256 {
  public:
    Sha256();
    void add(std::string_view bytes);
    /// The digest of all pieces, as Secret_sha256() writes it; then begins anew.
    std::string take();

  private:
    struct Close {
        void operator()(void* state) const;
    };
    std::unique_ptr<void, Close> state_;
};

}  // namespace avoip::gw
