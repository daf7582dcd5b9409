#include "avoipsim/options.hpp"

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <tuple>

namespace avoip::sim {
namespace {

constexpr int kMostDevices = 1024;
constexpr int kLongestMs = 3'600'000;

void addDevices(CLI::App& app, Options& options) {
    FleetOptions& fleet = options.fleet;
    app.add_option("--encoders", fleet.encoders, "Number of encoders, TX-0001 and so on")
        ->check(CLI::Range(0, kMostDevices))
        ->capture_default_str();
    app.add_option("--decoders", fleet.decoders, "Number of decoders, RX-0001 and so on")
        ->check(CLI::Range(0, kMostDevices))
        ->capture_default_str();
    app.add_option("--interface", options.interface, "Interface on which the devices are")
        ->capture_default_str();
    app.add_option("--first-address", fleet.firstAddress,
                   "Address of the first device; the others follow, encoders first")
        ->check(CLI::ValidIPV4)
        ->capture_default_str();
    app.add_option("--netmask", fleet.netmask, "Netmask that the devices report")
        ->check(CLI::ValidIPV4)
        ->capture_default_str();
    app.add_option("--gateway", fleet.gateway,
                   "Gateway that the devices report [first address of their network]")
        ->check(CLI::ValidIPV4);
}

void addWork(CLI::App& app, Options& options) {
    app.add_option("--state", options.stateFile,
                   "JSON file with what devices are set to at first, as --save-state writes it");
    app.add_option("--save-state", options.saveStateFile,
                   "JSON file for what the devices are set to, written at the end and at SIGUSR1");
    app.add_option("--log", options.logFile,
                   "File for one JSON line per request and event, appended to; - is standard "
                   "output");
    app.add_option_function<int>(
           "--reboot-time",
           [&options](int ms) { options.fleet.rebootTime = std::chrono::milliseconds(ms); },
           "Silence of a device that reboots, in ms [2000]")
        ->check(CLI::Range(0, kLongestMs));
    app.add_option_function<int>(
           "--spacing",
           [&options](int us) { options.fleet.spacing = std::chrono::microseconds(us); },
           "Time between the replies of two devices to one request, in microseconds [200]")
        ->check(CLI::Range(0, 1'000'000));
}

/// "20" or "20-100".
std::string readDelay(const std::string& text, FaultOptions& faults) {
    const char* end = text.data() + text.size();
    auto result = std::from_chars(text.data(), end, faults.delayMin_ms);
    faults.delayMax_ms = faults.delayMin_ms;
    if (result.ec == std::errc() && result.ptr != end && *result.ptr == '-') {
        result = std::from_chars(result.ptr + 1, end, faults.delayMax_ms);
    }
    const bool right = result.ec == std::errc() && result.ptr == end && faults.delayMin_ms >= 0 &&
                       faults.delayMin_ms <= faults.delayMax_ms && faults.delayMax_ms <= kLongestMs;
    return right ? "" : "\"" + text + "\" is neither MS nor MS-MS, the least first";
}

void addFaults(CLI::App& app, FaultOptions& faults) {
    constexpr const char* kGroup = "Faults (probabilities from 0 to 1)";
    app.add_option("--seed", faults.seed, "The same seed gives the same faults")
        ->group(kGroup)
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    const std::tuple<const char*, double*, const char*> probabilities[] = {
        {"--loss", &faults.loss, "A request does not reach a device"},
        {"--duplicate", &faults.duplicate, "A reply comes twice"},
        {"--wrong-hostid", &faults.wrongHostid, "A reply names another host"},
        {"--failed", &faults.failed, "A reply's status is \"failure\""},
        {"--missing-key", &faults.missingKey, "A reply lacks a member"},
        {"--not-json", &faults.notJson, "A reply is no JSON"},
    };
    for (const auto& [name, target, help] : probabilities) {
        app.add_option(name, *target, help)->group(kGroup)->check(CLI::Range(0.0, 1.0));
    }
    app.add_option("--delay", "Replies are late by so many ms: 20, or 20-100 for a range")
        ->group(kGroup)
        ->each([&faults](const std::string& text) {
            const std::string problem = readDelay(text, faults);
            if (!problem.empty()) {
                throw CLI::ValidationError("--delay", problem);
            }
        });
    app.add_option("--silent", faults.silent, "Devices that never hear anything: TX-0001,RX-0003")
        ->group(kGroup)
        ->delimiter(',');
}

void addUpload(CLI::App& app, UploadOptions& upload) {
    constexpr const char* kGroup = "Firmware uploads";
    app.add_option("--store-images", upload.storeFolder,
                   "Folder for the images that devices take: TX-0001.bin and so on")
        ->group(kGroup);
    app.add_option("--upload-fault-devices", upload.faultDevices,
                   "Devices that the faults below are for: TX-0001,RX-0003 [all]")
        ->group(kGroup)
        ->delimiter(',');
    app.add_flag("--upload-refuse", upload.refuse, "Connections are refused")->group(kGroup);
    app.add_option("--upload-close-after", upload.closeAfter,
                   "The device closes the connection after so many bytes")
        ->group(kGroup)
        ->check(CLI::NonNegativeNumber);
    app.add_option("--upload-stop-after", upload.stopAfter,
                   "The device reads no further after so many bytes")
        ->group(kGroup)
        ->check(CLI::NonNegativeNumber);
    app.add_option("--upload-answer-after", upload.answerAfter_ms,
                   "The device answers so many ms late")
        ->group(kGroup)
        ->check(CLI::Range(0, kLongestMs));
    app.add_flag("--upload-no-answer", upload.noAnswer, "The device never answers")->group(kGroup);
}

void addImage(CLI::App& app, ImageOptions& image) {
    constexpr const char* kGroup = "Making a firmware image for tests";
    app.add_option("--make-image", image.path, "Write an image to this file, and end")
        ->group(kGroup);
    app.add_option("--image-name", image.name,
                   "Its name; with TX in it for encoders, RX for decoders")
        ->group(kGroup)
        ->capture_default_str()
        ->check([](const std::string& text) {
            return text.size() <= kImageNameSize ? "" : "a name has at most 64 characters";
        });
    app.add_option("--image-version", image.version, "Its version")
        ->group(kGroup)
        ->capture_default_str()
        ->check([](const std::string& text) {
            return MakeImage_version(text) ? "" : "a version is three numbers up to 255: 1.2.6";
        });
    app.add_option("--image-size", image.size, "Bytes of it that are uploaded")
        ->group(kGroup)
        ->capture_default_str()
        ->check(CLI::Range(0, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

std::optional<Options> Options_parse(int argc, char** argv, int& exitStatus) {
    Options options;
    CLI::App app(
        "Plays a fleet of AV-over-IP encoders and decoders on an interface.\n"
        "It hears requests to 239.255.255.250:8002 and takes firmware on TCP port 5888.\n"
        "Replies leave from the devices' own addresses where these are local on this machine, for\n"
        "example after \"ip route add local 10.77.1.0/24 dev lo\".",
        "avoipsim");
    app.set_version_flag("--version", "avoipsim " AVOIP_VERSION);
    app.failure_message(CLI::FailureMessage::simple);
    addDevices(app, options);
    addWork(app, options);
    addFaults(app, options.fleet.faults);
    addUpload(app, options.upload);
    addImage(app, options.image);
    try {
        app.parse(argc, argv);
        const int devices = options.fleet.encoders + options.fleet.decoders;
        if (devices < 1 || devices > kMostDevices) {
            throw CLI::ValidationError("--encoders and --decoders",
                                       "a fleet has 1 to " + std::to_string(kMostDevices) +
                                           " devices, not " + std::to_string(devices));
        }
    } catch (const CLI::ParseError& error) {
        exitStatus = app.exit(error) == 0 ? 0 : kExitUsage;
        return std::nullopt;
    }
    return options;
}

}  // namespace avoip::sim
