// How a fleet begins: its range of addresses, its state file.
#include <unistd.h>

#include <fstream>

#include "avoipsim_fleet_bed.hpp"

namespace avoip::sim {
namespace {

TEST_F(AvoipsimFleet, the_range_of_addresses_must_fit_the_network) {
    fleet.options.netmask = "255.255.255.0";
    fleet.options.firstAddress = "10.77.1.245";  // ten devices up to .254
    std::string problem;
    EXPECT_TRUE(Fleet_make(fleet, problem)) << problem;
    fleet.options.firstAddress = "10.77.1.246";
    EXPECT_FALSE(Fleet_make(fleet, problem));
    EXPECT_EQ(problem,
              "10 devices from 10.77.1.246 on do not fit into a network with netmask "
              "255.255.255.0; choose a smaller --netmask or another --first-address");
    fleet.options.firstAddress = "10.77.1.0";
    EXPECT_FALSE(Fleet_make(fleet, problem));
    fleet.options.netmask = "255.0.255.0";
    EXPECT_FALSE(Fleet_make(fleet, problem));
    EXPECT_EQ(problem, "10.77.1.0 with netmask 255.0.255.0 is not an IPv4 address in a network");
}

TEST_F(AvoipsimFleet, a_silent_device_must_exist) {
    fleet.options.faults.silent = {"TX-0005"};
    std::string problem;
    EXPECT_FALSE(Fleet_make(fleet, problem));
    EXPECT_EQ(problem, "--silent names TX-0005, which is no device of this fleet");
}

class AvoipsimState : public AvoipsimFleet {
  protected:
    AvoipsimState() { make(1, 1); }
    ~AvoipsimState() override { ::unlink(path.c_str()); }

    std::string load(const std::string& text) {
        std::ofstream(path) << text;
        std::string problem;
        return Fleet_loadState(fleet, path, problem) ? "" : problem;
    }

    const std::string path =
        testing::TempDir() + "avoipsim_state_" + std::to_string(::getpid()) + ".json";
};

TEST_F(AvoipsimState, a_saved_state_loads_into_another_fleet) {
    tell("config set alias", "TX-0001", R"("alias":{"name":"Stage"})");
    tell("matrix set", "RX-0001", R"("rxsource":{"txid":"TX-0001"})");
    std::string problem;
    ASSERT_TRUE(Fleet_saveState(fleet, path, problem)) << problem;
    Fleet other;
    other.options.encoders = 1;
    other.options.decoders = 1;
    ASSERT_TRUE(Fleet_make(other, problem)) << problem;
    ASSERT_TRUE(Fleet_loadState(other, path, problem)) << problem;
    EXPECT_EQ(Json_print(Fleet_state(other).get()), Json_print(Fleet_state(fleet).get()));
    EXPECT_EQ(Device_text(other.devices[0], "device", "alias"), "Stage");
}

TEST_F(AvoipsimState, a_loaded_state_is_what_factory_returns_to) {
    EXPECT_EQ(load(R"({"devices":[{"deviceid":"TX-0001","device":{"alias":"Stage"}}]})"), "");
    tell("config remove alias", "TX-0001");
    tell("device factory", "TX-0001");
    EXPECT_EQ(Device_text(fleet.devices[0], "device", "alias"), "Stage");
    EXPECT_EQ(Device_text(fleet.devices[0], "serialparams", "baudrate"), "115200");
}

TEST_F(AvoipsimState, a_wrong_state_file_is_refused_with_the_reason) {
    EXPECT_EQ(load("no JSON"), "state file " + path +
                                   " does not hold {\"devices\":[...]}; --save-state writes one "
                                   "to start from");
    EXPECT_EQ(load(R"({"devices":[{"deviceid":"TX-0002"}]})"),
              "state file " + path + ": \"TX-0002\" is no device of this fleet");
    EXPECT_EQ(load(R"({"devices":[{}]})"),
              "state file " + path + ": \"\" is no device of this fleet");
    EXPECT_EQ(load(R"({"devices":[{"deviceid":"TX-0001","rxsource":{}}]})"),
              "state file " + path + ": TX-0001 has no section \"rxsource\"");
    EXPECT_EQ(load(R"({"devices":[{"deviceid":"TX-0001","device":{"alas":""}}]})"),
              "state file " + path + ": TX-0001 has no text \"alas\" in \"device\"");
    EXPECT_EQ(load(R"({"devices":[{"deviceid":"TX-0001","txparams":{"fps":30}}]})"),
              "state file " + path + ": TX-0001 has no text \"fps\" in \"txparams\"");
}

TEST_F(AvoipsimState, a_state_file_that_is_not_there_is_refused_with_the_reason) {
    std::string problem;
    EXPECT_FALSE(Fleet_loadState(fleet, path, problem));
    EXPECT_EQ(problem, "state file " + path + " cannot be read: No such file or directory");
    EXPECT_FALSE(Fleet_saveState(fleet, "/nowhere/state", problem));
    EXPECT_EQ(problem, "state file /nowhere/state cannot be written: No such file or directory");
}

}  // namespace

}  // namespace avoip::sim
