#include "gateway/operations/installations.hpp"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;

/// How often devices that start again are looked after, and how often they are listed for that.
constexpr auto kLook = 250ms;
constexpr int kLooksForListing = 12;

/// How long the last listing before a device is given up may take.
constexpr auto kLastListing = 5s;

constexpr int kMostParallel = 64;

constexpr const char* kCancelled = "The job was cancelled before this device's turn.";
constexpr const char* kInterrupted = "The gateway ended during this job.";

/// A device of a job.
struct Task {
    std::string job;
    std::string device;
    Image image;
    std::string versionBefore = {};
    bool succeeded = false;   ///< the daemon has said so
    std::string remark = {};  ///< what it has said instead
    Time uploadedAt = {};
};

bool isOver(JobDeviceState state) {
    return state == JobDeviceState::kConfirmed || state == JobDeviceState::kFailed;
}

/// A version without the "V" that some devices write before it.
std::string_view numbersOf(std::string_view version) {
    return version.starts_with('V') || version.starts_with('v') ? version.substr(1) : version;
}

DeviceKind kindOf(DeviceType type) {
    return type == DeviceType::kEncoder ? DeviceKind::kEncoder : DeviceKind::kDecoder;
}

Request updateOf(const Image& image, const std::string& device) {
    const char* const text =
        image.type == DeviceType::kEncoder ? "update device encoder" : "update device decoder";
    return {Catalogue_findText(text), {device, image.path}};
}

/// What is to be said of a job whose devices are all over.
void conclude(Job& job) {
    const auto failed = std::ranges::count(job.devices, JobDeviceState::kFailed, &JobDevice::state);
    const auto cancelled = std::ranges::count(job.devices, kCancelled, &JobDevice::problem);
    if (cancelled > 0) {
        job.state = JobState::kCancelled;
    } else if (failed > 0) {
        job.state = JobState::kFailed;
        job.problem = std::to_string(failed) + " of " + std::to_string(job.devices.size()) +
                      " devices failed.";
    } else {
        job.state = JobState::kDone;
    }
}

std::optional<Problem> problemOfDevice(const State& state, const Image& image,
                                       const std::string& device) {
    if (auto problem = Problem_ofDevice(state, device, kindOf(image.type), "devices")) {
        return problem;
    }
    const Request update = updateOf(image, device);
    for (std::size_t i = 0; i < update.values.size(); ++i) {
        if (auto problem =
                Problem_ofValue(update.command->arguments[i], update.values[i], "devices")) {
            return problem;
        }
    }
    for (const auto& [id, job] : state.jobs) {
        const auto found = std::ranges::find(job.devices, device, &JobDevice::id);
        if (!Job_isOver(job) && found != job.devices.end() && !isOver(found->state)) {
            return Problem{409, "\"" + device + "\" is part of the job " + id + ".", "devices"};
        }
    }
    return std::nullopt;
}

std::optional<Problem> problemOf(const State& state, const Image& image,
                                 const std::vector<std::string>& devices) {
    if (image.type == DeviceType::kUnknown) {
        return Problem{422, "The image is neither for encoders nor for decoders."};
    }
    if (devices.empty()) {
        return Problem{422, "This must be at least one device.", "devices"};
    }
    for (auto device = devices.begin(); device != devices.end(); ++device) {
        if (std::find(devices.begin(), device, *device) != device) {
            return Problem{422, "\"" + *device + "\" is named twice.", "devices"};
        }
        if (auto problem = problemOfDevice(state, image, *device)) {
            return problem;
        }
    }
    return std::nullopt;
}

std::string newId(const State& state, Time now) {
    auto number = now.time_since_epoch().count();
    while (state.jobs.contains(std::to_string(number))) {
        ++number;
    }
    return std::to_string(number);
}

}  // namespace

struct Installations::Work {
    Work(Operations& itsOperations, InstallationOptions itsOptions)
        : operations(itsOperations), options(itsOptions) {
        for (int i = 0; i < std::clamp(options.parallel, 1, kMostParallel); ++i) {
            threads.emplace_back([this](const std::stop_token& stop) { upload(stop); });
        }
        threads.emplace_back([this](const std::stop_token& stop) { watch(stop); });
    }

    /// Changes a job, in the store and in the state, as far as it is there.
    void change(const std::string& id, const std::function<void(Job&)>& act);
    void changeDevice(const Task& task, const std::function<void(JobDevice&)>& act);
    void fail(const Task& task, const std::string& problem);

    void upload(const std::stop_token& stop);
    void uploadOne(Task task, const std::stop_token& stop);
    void watch(const std::stop_token& stop);
    bool isBack(const Task& task);
    std::string problemOfAbsence(const Task& task);

    Operations& operations;
    InstallationOptions options;
    std::mutex mutex;
    std::condition_variable_any changed;
    std::deque<Task> queued;
    std::list<Task> restarting;
    /// Of every change of a job, so that the store sees them in their order.
    std::mutex changing;
    std::vector<std::jthread> threads;
};

void Installations::Work::change(const std::string& id, const std::function<void(Job&)>& act) {
    const std::scoped_lock alone(changing);
    auto job = operations.state.with([&](const State& state) {
        const auto found = state.jobs.find(id);
        return found == state.jobs.end() ? std::nullopt : std::optional(found->second);
    });
    if (!job) {
        return;
    }
    act(*job);
    // Progress that cannot be kept is shown all the same: after a restart the job has failed
    // anyway.
    operations.keeping.job(*job);
    operations.state.with([&](State& state) { State_put(state, *job); });
}

void Installations::Work::changeDevice(const Task& task,
                                       const std::function<void(JobDevice&)>& act) {
    change(task.job, [&](Job& job) {
        const auto device = std::ranges::find(job.devices, task.device, &JobDevice::id);
        if (device != job.devices.end()) {
            act(*device);
        }
        job.state = JobState::kRunning;
        if (std::ranges::all_of(job.devices, isOver, &JobDevice::state)) {
            conclude(job);
        }
    });
}

void Installations::Work::fail(const Task& task, const std::string& problem) {
    changeDevice(task, [&](JobDevice& device) {
        device.state = JobDeviceState::kFailed;
        device.problem = problem;
    });
}

/// A thread that uploads: one device after the other, of whichever job is the oldest.
void Installations::Work::upload(const std::stop_token& stop) {
    std::unique_lock held(mutex);
    while (changed.wait(held, stop, [&] { return !queued.empty(); })) {
        Task task = std::move(queued.front());
        queued.pop_front();
        held.unlock();
        uploadOne(std::move(task), stop);
        held.lock();
    }
}

void Installations::Work::uploadOne(Task task, const std::stop_token& stop) {
    const auto device = operations.state.with([&](const State& state) {
        const Device* const found = State_device(state, task.device);
        return found == nullptr ? std::nullopt : std::optional(found->said);
    });
    if (!device) {
        fail(task, "The device was forgotten.");
        return;
    }
    task.versionBefore = device->version;
    changeDevice(task, [&](JobDevice& entry) {
        entry.state = JobDeviceState::kUploading;
        entry.versionBefore = task.versionBefore;
    });
    bool begun = false;
    const Reply reply = operations.asking.update(updateOf(task.image, task.device), device->address,
                                                 [&] { begun = true; });
    if (stop.stop_requested()) {
        return;
    }
    task.succeeded = reply.succeeded();
    task.remark = reply.reason;
    task.uploadedAt = operations.clock();
    if (!begun || reply.end == End::kFailure) {
        fail(task, reply.end == End::kFailure ? "The daemon says that the upload has failed."
                                              : "The upload could not begin: " + reply.reason);
        return;
    }
    changeDevice(task, [](JobDevice& entry) { entry.state = JobDeviceState::kRestarting; });
    const std::scoped_lock held(mutex);
    restarting.push_back(std::move(task));
}

/// Takes over what the device says now. True when that settles it.
bool Installations::Work::isBack(const Task& task) {
    const auto seen = operations.state.with([&](const State& state) {
        const Device* const device = State_device(state, task.device);
        const bool after =
            device != nullptr && device->online && device->lastSeen > task.uploadedAt;
        return after ? device->said.version : std::string();
    });
    const bool right = !seen.empty() && numbersOf(seen) == numbersOf(task.image.version);
    if (!right || (!task.succeeded && numbersOf(seen) == numbersOf(task.versionBefore))) {
        return false;
    }
    changeDevice(task, [&](JobDevice& device) {
        device.state = JobDeviceState::kConfirmed;
        device.versionAfter = seen;
        device.problem = task.succeeded ? "" : task.remark;
    });
    return true;
}

std::string Installations::Work::problemOfAbsence(const Task& task) {
    const auto seen = operations.state.with([&](const State& state) {
        const Device* const device = State_device(state, task.device);
        return device != nullptr && device->lastSeen > task.uploadedAt
                   ? std::optional(device->said.version)
                   : std::nullopt;
    });
    std::string problem = "It has not come back in time.";
    if (seen && numbersOf(*seen) == numbersOf(task.image.version)) {
        problem =
            "Whether the image was installed is not known: the version is the same as before.";
    } else if (seen) {
        problem = "It has come back with the version " + *seen + ".";
    }
    changeDevice(task, [&](JobDevice& device) { device.versionAfter = seen.value_or(""); });
    return task.succeeded ? problem : problem + " " + task.remark;
}

/// The thread that waits for devices to come back.
void Installations::Work::watch(const std::stop_token& stop) {
    for (int looks = 0; !stop.stop_requested(); ++looks) {
        std::list<Task> tasks;
        {
            std::unique_lock held(mutex);
            changed.wait_for(held, stop, kLook, [] { return false; });
            tasks.swap(restarting);
        }
        if (!tasks.empty() && looks % kLooksForListing == 0) {
            operations.asking.listSoon();
        }
        std::erase_if(tasks, [&](const Task& task) { return isBack(task); });
        const Time now = operations.clock();
        const auto isLate = [&](const Task& task) {
            return now >= task.uploadedAt + options.returnLimit;
        };
        if (std::ranges::any_of(tasks, isLate)) {
            // Polling may not have had the time to see it.
            operations.asking.list(std::chrono::steady_clock::now() + kLastListing);
        }
        std::erase_if(tasks, [&](const Task& task) {
            if (isLate(task) && !isBack(task)) {
                fail(task, problemOfAbsence(task));
            }
            return isLate(task);
        });
        const std::scoped_lock held(mutex);
        restarting.splice(restarting.end(), tasks);
    }
}

Installations::Installations(Operations& operations, InstallationOptions options)
    : work_(std::make_unique<Work>(operations, options)) {}

Installations::~Installations() {
    for (std::jthread& thread : work_->threads) {
        thread.request_stop();
    }
}

void Installations::restore(std::vector<Job> kept) {
    for (Job& job : kept) {
        if (!Job_isOver(job)) {
            job.state = JobState::kFailed;
            job.problem = kInterrupted;
            for (JobDevice& device : job.devices) {
                if (!isOver(device.state)) {
                    device.state = JobDeviceState::kFailed;
                    device.problem = kInterrupted;
                }
            }
            work_->operations.keeping.job(job);
        }
        work_->operations.state.with([&](State& state) { State_put(state, job); });
    }
}

Outcome<Job> Installations::begin(const Image& image, const std::vector<std::string>& devices) {
    const std::scoped_lock alone(work_->changing);
    Operations& operations = work_->operations;
    Job job;
    const auto problem = operations.state.with([&](const State& state) {
        job.id = newId(state, operations.clock());
        return problemOf(state, image, devices);
    });
    if (problem) {
        return *problem;
    }
    job.image = image.id;
    for (const std::string& device : devices) {
        job.devices.push_back({device});
    }
    if (const auto lost = operations.keeping.job(job)) {
        return *lost;
    }
    operations.state.with([&](State& state) { State_put(state, job); });
    const std::scoped_lock held(work_->mutex);
    for (const std::string& device : devices) {
        work_->queued.push_back({job.id, device, image});
    }
    work_->changed.notify_all();
    return job;
}

Outcome<Done> Installations::remove(const std::string& id) {
    Operations& operations = work_->operations;
    std::vector<Task> cancelled;
    {
        const std::scoped_lock held(work_->mutex);
        std::erase_if(work_->queued, [&](const Task& task) {
            const bool own = task.job == id;
            if (own) {
                cancelled.push_back(task);
            }
            return own;
        });
    }
    for (const Task& task : cancelled) {
        work_->fail(task, kCancelled);
    }
    const std::scoped_lock alone(work_->changing);
    const auto over = operations.state.with([&](const State& state) {
        const auto found = state.jobs.find(id);
        return found == state.jobs.end() ? std::nullopt : std::optional(Job_isOver(found->second));
    });
    if (!over) {
        return Problem{404, "There is no such job.", "id"};
    }
    if (!*over || !cancelled.empty()) {
        return Done{};
    }
    if (const auto lost = operations.keeping.jobRemoved(id)) {
        return *lost;
    }
    operations.state.with([&](State& state) { State_removeJob(state, id); });
    return Done{};
}

bool Installations::uses(const std::string& image) {
    return work_->operations.state.with([&](const State& state) {
        return std::ranges::any_of(state.jobs, [&](const auto& entry) {
            return entry.second.image == image && !Job_isOver(entry.second);
        });
    });
}

}  // namespace avoip::gw
