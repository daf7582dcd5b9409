// The rows.
#include <array>

#include "gateway/api/handlers.hpp"

namespace avoip::gw {
namespace {

namespace h = handlers;

constexpr Access kAnybody = Access::kAnybody;
constexpr Access kViewer = Access::kViewer;
constexpr Access kOperator = Access::kOperator;
constexpr Access kAdmin = Access::kAdmin;
constexpr BodyKind kNone = BodyKind::kNone;
constexpr BodyKind kOptional = BodyKind::kOptional;
constexpr BodyKind kBody = BodyKind::kJson;

constexpr std::array kEndpoints{
    Endpoint{"GET", "/healthz/live", "live", "Whether the process works", kAnybody, kNone, h::live,
             "", "", "", "Health"},
    Endpoint{"GET", "/healthz/ready", "ready", "Whether the daemon serves", kAnybody, kNone,
             h::ready, "", "", "", "Health"},
    Endpoint{"GET", "/metrics", "metrics", "Counters and measures", Access::kViewerOrLoopback,
             kNone, h::metrics, "", "", "",
             "text/plain;version=0.0.4 application/openmetrics-text;version=1.0.0"},
    Endpoint{"GET", "/api/v1/openapi.json", "description", "This description", kViewer, kNone,
             h::description, "", "", "", "Anything"},

    Endpoint{"POST", "/api/v1/session", "logIn", "Log in", kAnybody, kBody, h::logIn, "log-in", "",
             "LogIn", "Session"},
    Endpoint{"GET", "/api/v1/session", "session", "Who is logged in", kAnybody, kNone, h::session,
             "", "", "", "Session"},
    Endpoint{"DELETE", "/api/v1/session", "logOut", "Log out", kAnybody, kNone, h::logOut,
             "log-out", "", "", "", 204},
    Endpoint{"PUT", "/api/v1/session/password", "changePassword", "Change the own password",
             kAnybody, kBody, h::changePassword, "password", "", "PasswordChange", "", 204},

    Endpoint{"GET", "/api/v1/system", "system", "The gateway and the daemon", kViewer, kNone,
             h::system, "", "", "", "System"},
    Endpoint{"GET", "/api/v1/devices", "devices", "All devices", kViewer, kNone, h::devices, "",
             "type online", "", "Devices"},
    Endpoint{"GET", "/api/v1/devices/{id}", "device", "One device", kViewer, kNone, h::device, "",
             "", "", "Device"},
    Endpoint{"PATCH", "/api/v1/devices/{id}", "renameDevice", "Name a device", kAdmin, kBody,
             h::renameDevice, "alias", "", "DeviceChange", "ConfirmedDevice"},
    Endpoint{"DELETE", "/api/v1/devices/{id}", "forgetDevice", "Forget an offline device", kAdmin,
             kNone, h::forgetDevice, "forget", "", "", "", 204},
    Endpoint{"GET", "/api/v1/ranges", "ranges", "What parameters and settings may be", kViewer,
             kNone, h::ranges, "", "", "", "Ranges"},
    Endpoint{"GET", "/api/v1/devices/{id}/parameters", "parameters", "What a device says", kViewer,
             kNone, h::parameters, "", "", "", "Parameters"},
    Endpoint{"PUT", "/api/v1/devices/{id}/parameters", "changeParameters", "Change parameters",
             kAdmin, kBody, h::changeParameters, "parameters", "", "ParametersChange",
             "ConfirmedParameters"},
    Endpoint{"GET", "/api/v1/devices/{id}/network", "network", "The network settings", kViewer,
             kNone, h::network, "", "", "", "Network"},
    Endpoint{"PUT", "/api/v1/devices/{id}/network", "changeNetwork", "Change network settings",
             kAdmin, kBody, h::changeNetwork, "network", "", "NetworkChange", "ConfirmedNetwork"},
    Endpoint{"GET", "/api/v1/devices/{id}/serial", "serial", "The serial port", kViewer, kNone,
             h::serial, "", "", "", "Serial"},
    Endpoint{"PUT", "/api/v1/devices/{id}/serial", "changeSerial", "Change the serial port", kAdmin,
             kBody, h::changeSerial, "serial", "", "SerialChange", "ConfirmedSerial"},
    Endpoint{"GET", "/api/v1/devices/{id}/edid", "edid", "The EDID of a decoder's screen", kViewer,
             kNone, h::edid, "", "", "", "Edid"},
    Endpoint{"PUT", "/api/v1/devices/{id}/edid", "giveEdid", "Give an encoder an EDID", kAdmin,
             BodyKind::kEdid, h::giveEdid, "edid", "", "EdidChange", "ConfirmedEdid"},
    Endpoint{"POST", "/api/v1/devices/{id}/serial/data", "sendSerial",
             "Send bytes out of the serial port", kOperator, kBody, h::sendSerial, "serial-data",
             "", "SerialData", "Nothing", 202},
    Endpoint{"POST", "/api/v1/devices/{id}/identify", "identify", "Make a device show itself",
             kOperator, kNone, h::identify, "identify", "", "", "Nothing", 202},
    Endpoint{"POST", "/api/v1/devices/{id}/reboot", "reboot", "Reboot a device", kAdmin, kNone,
             h::reboot, "reboot", "", "", "Nothing", 202},
    Endpoint{"POST", "/api/v1/devices/{id}/factory-reset", "factoryReset",
             "Return a device to its factory settings", kAdmin, kBody, h::factoryReset,
             "factory-reset", "", "FactoryReset", "Nothing", 202},

    Endpoint{"GET", "/api/v1/routes", "routes", "All routes", kViewer, kNone, h::routes, "", "", "",
             "Routes"},
    Endpoint{"POST", "/api/v1/routes", "setRoutes", "Set many routes", kOperator, kBody,
             h::setRoutes, "routes", "override", "RouteOrder", "RouteResults"},
    Endpoint{"PUT", "/api/v1/routes/{kind}/{decoder}", "setRoute", "Set a route", kOperator, kBody,
             h::setRoute, "route", "override", "RouteWish", "RouteResult"},
    Endpoint{"DELETE", "/api/v1/routes/{kind}/{decoder}", "clearRoute", "Clear a route", kOperator,
             kNone, h::clearRoute, "route", "override", "", "RouteResult"},

    Endpoint{"GET", "/api/v1/presets", "presets", "All presets", kViewer, kNone, h::presets, "", "",
             "", "Presets"},
    Endpoint{"GET", "/api/v1/presets/{name}", "preset", "One preset", kViewer, kNone, h::preset, "",
             "", "", "Preset"},
    Endpoint{"PUT", "/api/v1/presets/{name}", "putPreset", "Keep a preset", kAdmin, kBody,
             h::putPreset, "preset", "", "PresetChange", "Preset", 200, 201},
    Endpoint{"DELETE", "/api/v1/presets/{name}", "removePreset", "Remove a preset", kAdmin, kNone,
             h::removePreset, "preset-removal", "", "", "", 204},
    Endpoint{"POST", "/api/v1/presets/{name}/recall", "recallPreset", "Recall a preset", kOperator,
             kNone, h::recallPreset, "recall", "override", "", "RouteResults"},

    Endpoint{"GET", "/api/v1/locks", "locks", "All locks", kViewer, kNone, h::locks, "", "", "",
             "Locks"},
    Endpoint{"PUT", "/api/v1/locks/{decoder}", "putLock", "Lock a decoder", kOperator, kOptional,
             h::putLock, "lock", "", "LockChange", "Lock", 200, 201},
    Endpoint{"DELETE", "/api/v1/locks/{decoder}", "removeLock", "Release a decoder", kOperator,
             kNone, h::removeLock, "unlock", "", "", "", 204},

    Endpoint{"GET", "/api/v1/rooms", "rooms", "All rooms", kViewer, kNone, h::rooms, "", "", "",
             "Rooms"},
    Endpoint{"GET", "/api/v1/rooms/{name}", "room", "One room", kViewer, kNone, h::room, "", "", "",
             "Room"},
    Endpoint{"PUT", "/api/v1/rooms/{name}", "putRoom", "Keep a room", kAdmin, kBody, h::putRoom,
             "room", "", "RoomChange", "Room", 200, 201},
    Endpoint{"DELETE", "/api/v1/rooms/{name}", "removeRoom", "Remove a room", kAdmin, kNone,
             h::removeRoom, "room-removal", "", "", "", 204},

    Endpoint{"GET", "/api/v1/users", "users", "All users", kAdmin, kNone, h::users, "", "", "",
             "Users"},
    Endpoint{"POST", "/api/v1/users", "addUser", "Add a user", kAdmin, kBody, h::addUser, "user",
             "", "NewUser", "Account", 201},
    Endpoint{"PATCH", "/api/v1/users/{name}", "changeUser", "Change a user", kAdmin, kBody,
             h::changeUser, "user", "", "UserChange", "Account"},
    Endpoint{"DELETE", "/api/v1/users/{name}", "removeUser", "Remove a user", kAdmin, kNone,
             h::removeUser, "user-removal", "", "", "", 204},
    Endpoint{"GET", "/api/v1/tokens", "tokens", "All tokens", kAdmin, kNone, h::tokens, "", "", "",
             "Tokens"},
    Endpoint{"POST", "/api/v1/tokens", "addToken", "Add a token", kAdmin, kBody, h::addToken,
             "token", "", "NewToken", "TokenOnce", 201},
    Endpoint{"DELETE", "/api/v1/tokens/{name}", "removeToken", "Remove a token", kAdmin, kNone,
             h::removeToken, "token-removal", "", "", "", 204},

    Endpoint{"GET", "/api/v1/walls", "walls", "All video walls", kViewer, kNone, h::walls, "", "",
             "", "Walls"},
    Endpoint{"GET", "/api/v1/walls/{name}", "wall", "One video wall", kViewer, kNone, h::wall, "",
             "", "", "Wall"},
    Endpoint{"PUT", "/api/v1/walls/{name}", "putWall", "Apply a video wall", kAdmin, kBody,
             h::putWall, "wall", "override", "WallChange", "Wall", 200, 201},
    Endpoint{"DELETE", "/api/v1/walls/{name}", "removeWall", "Take a video wall apart", kAdmin,
             kNone, h::removeWall, "wall-removal", "override", "", "", 204},

    Endpoint{"GET", "/api/v1/firmware", "images", "All firmware images", kViewer, kNone, h::images,
             "", "", "", "Firmware"},
    Endpoint{"POST", "/api/v1/firmware", "addImage", "Add a firmware image", kAdmin,
             BodyKind::kImage, h::addImage, "firmware", "", "", "Image", 201, 200},
    Endpoint{"GET", "/api/v1/firmware/{id}", "image", "One firmware image", kViewer, kNone,
             h::image, "", "", "", "Image"},
    Endpoint{"DELETE", "/api/v1/firmware/{id}", "removeImage", "Remove a firmware image", kAdmin,
             kNone, h::removeImage, "firmware-removal", "", "", "", 204},
    Endpoint{"POST", "/api/v1/firmware/{id}/installations", "install", "Install an image", kAdmin,
             kBody, h::install, "installation", "", "Installation", "Job", 202},
    Endpoint{"GET", "/api/v1/jobs", "jobs", "All jobs", kViewer, kNone, h::jobs, "", "", "",
             "Jobs"},
    Endpoint{"GET", "/api/v1/jobs/{id}", "job", "One job", kViewer, kNone, h::job, "", "", "",
             "Job"},
    Endpoint{"DELETE", "/api/v1/jobs/{id}", "removeJob", "Cancel or forget a job", kAdmin, kNone,
             h::removeJob, "job-removal", "", "", "", 204},

    Endpoint{"GET", "/api/v1/log", "log", "Who changed what", kViewer, kNone, h::log, "",
             "before limit q", "", "Log"},
    // What streams has no handler: whoever carries the call knows how.
    Endpoint{"GET", "/api/v1/events", "events", "What changes, as it changes", kViewer, kNone,
             nullptr, "", "", "", kEventStream},
};

}  // namespace

std::span<const Endpoint> Endpoint_all() {
    return kEndpoints;
}

}  // namespace avoip::gw
