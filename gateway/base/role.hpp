// What a user, a token or a program on the broker may do.
#pragma once

#include <optional>
#include <string_view>

namespace avoip::gw {

/// In the order of what they may do: each may do what those before it may.
enum class Role { kViewer, kOperator, kAdmin };

constexpr std::string_view Role_name(Role role) {
    constexpr std::string_view kNames[] = {"viewer", "operator", "admin"};
    return kNames[static_cast<int>(role)];
}

constexpr std::optional<Role> Role_find(std::string_view name) {
    for (const Role role : {Role::kViewer, Role::kOperator, Role::kAdmin}) {
        if (Role_name(role) == name) {
            return role;
        }
    }
    return std::nullopt;
}

}  // namespace avoip::gw
