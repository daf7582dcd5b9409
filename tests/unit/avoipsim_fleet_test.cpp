// The fleet as an asker sees it: which devices answer what, and what they keep.
#include "avoipsim_fleet_bed.hpp"

namespace avoip::sim {
namespace {

using namespace std::chrono_literals;
using Ids = std::vector<std::string>;

TEST_F(AvoipsimFleet, a_device_describes_itself) {
    make(1, 1);
    EXPECT_EQ(ask("config get device", "TX-0001"),
              ack("config get device", "TX-0001") +
                  R"(,"device":{"deviceid":"TX-0001","alias":"","devtype":"TX",)"
                  R"("devaddr":"10.77.1.1","devnetmask":"255.255.0.0","devgateway":"10.77.0.1",)"
                  R"("devmac":"02:00:01:00:00:01","status":"online","version":"1.0.0"}})");
    EXPECT_EQ(ask("config get device", "RX-0001"),
              ack("config get device", "RX-0001") +
                  R"(,"device":{"deviceid":"RX-0001","alias":"","devtype":"RX",)"
                  R"("devaddr":"10.77.1.2","devnetmask":"255.255.0.0","devgateway":"10.77.0.1",)"
                  R"("devmac":"02:00:02:00:00:01","status":"online","version":"1.0.0"}})");
}

TEST_F(AvoipsimFleet, answers_to_its_identity_and_its_groups_only) {
    make(2, 2);
    const std::string cmd = "config get device";
    EXPECT_EQ(answering(requestText(cmd, device("All"))),
              (Ids{"TX-0001", "TX-0002", "RX-0001", "RX-0002"}));
    EXPECT_EQ(answering(requestText(cmd, device("All_TX"))), (Ids{"TX-0001", "TX-0002"}));
    EXPECT_EQ(answering(requestText(cmd, device("All_RX"))), (Ids{"RX-0001", "RX-0002"}));
    EXPECT_EQ(answering(requestText(cmd, device("RX-0002"))), Ids{"RX-0002"});
    EXPECT_EQ(answering(requestText(cmd, device("all"))), Ids{});
    EXPECT_EQ(answering(requestText(cmd, device("tx-0001"))), Ids{});
    EXPECT_EQ(answering(requestText(cmd, device("TX-0003"))), Ids{});
    EXPECT_EQ(answering(requestText(cmd, "")), Ids{});
}

TEST_F(AvoipsimFleet, a_device_that_is_named_twice_acts_once) {
    make(2, 1);
    const std::string devices =
        device("All_TX") + "," + device("TX-0001") + "," + device("RX-0001");
    EXPECT_EQ(answering(requestText("config get device", devices)),
              (Ids{"TX-0001", "TX-0002", "RX-0001"}));
    hear(requestText("device showme", devices));
    EXPECT_EQ(logLines().size(), 1U + 1U + 3U);  // two requests, three devices that show themselves
}

TEST_F(AvoipsimFleet, replies_come_from_the_devices_own_addresses_one_after_the_other) {
    make(1, 2);
    fleet.options.spacing = 300us;
    const auto replies = hear(requestText("config get device", device("All")));
    ASSERT_EQ(replies.size(), 3U);
    EXPECT_EQ(replies[0].fromAddress, "10.77.1.1");
    EXPECT_EQ(replies[2].fromAddress, "10.77.1.3");
    EXPECT_EQ(replies[0].delay, 0us);
    EXPECT_EQ(replies[2].delay, 600us);
}

TEST_F(AvoipsimFleet, what_is_no_request_is_logged_and_not_answered) {
    make(1, 1);
    for (const std::string text :
         {"", "{", "not JSON", "[]", "{}", R"({"request":1})", R"({"request":{"cmd":7}})",
          R"({"request":{"cmd":"config get device","device":7}})"}) {
        EXPECT_TRUE(hear(text).empty()) << text;
    }
    tell("config get something", "All");
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 9U);
    EXPECT_EQ(Json_text(lines[2].get(), "event"), "not understood");
    EXPECT_EQ(Json_text(lines[2].get(), "datagram"), "not JSON");
    EXPECT_EQ(Json_text(lines[8].get(), "cmd"), "config get something");
}

TEST_F(AvoipsimFleet, bytes_that_are_no_text_are_logged_in_hexadecimal) {
    make(1, 0);
    hear({"\x00\xff", 2});
    const auto lines = logLines();
    EXPECT_EQ(Json_text(lines[0].get(), "hex"), "00FF");
    EXPECT_EQ(Json_text(lines[0].get(), "datagram"), std::nullopt);
}

TEST_F(AvoipsimFleet, a_request_is_logged_with_the_devices_that_acted) {
    make(2, 1);
    const std::string text = requestText("device showme", device("All_TX"));
    hear(text);
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(Json_text(lines[0].get(), "event"), "request");
    EXPECT_EQ(Json_text(lines[0].get(), "from"), "10.77.0.1");
    EXPECT_EQ(Json_text(lines[0].get(), "cmd"), "device showme");
    EXPECT_EQ(Json_text(lines[0].get(), "datagram"), text);
    EXPECT_EQ(Json_print(Json_find(lines[0].get(), "devices")), R"(["TX-0001","TX-0002"])");
    EXPECT_EQ(Json_text(lines[2].get(), "event"), "device showme");
    EXPECT_EQ(Json_text(lines[2].get(), "device"), "TX-0002");
}

TEST_F(AvoipsimFleet, a_device_ignores_what_its_kind_does_not_know) {
    make(1, 1);
    for (const char* cmd : {"config get tx params", "update tx"}) {
        EXPECT_EQ(answering(requestText(cmd, device("All"))), Ids{"TX-0001"}) << cmd;
    }
    for (const char* cmd : {"config get rx params", "matrix get", "ir matrix get", "update rx"}) {
        EXPECT_EQ(answering(requestText(cmd, device("All"))), Ids{"RX-0001"}) << cmd;
    }
}

TEST_F(AvoipsimFleet, an_alias_is_kept_and_removed) {
    make(1, 1);
    tell("config set alias", "TX-0001", R"("alias":{"name":"Meeting room 2"})");
    EXPECT_NE(ask("config get device", "TX-0001").find(R"("alias":"Meeting room 2")"),
              std::string::npos);
    EXPECT_NE(ask("config get tx params", "TX-0001").find(R"("alias":"Meeting room 2")"),
              std::string::npos);
    EXPECT_NE(ask("config get device", "RX-0001").find(R"("alias":"")"), std::string::npos);
    tell("config remove alias", "TX-0001");
    EXPECT_NE(ask("config get device", "TX-0001").find(R"("alias":"")"), std::string::npos);
}

TEST_F(AvoipsimFleet, a_text_of_more_than_31_characters_is_cut) {
    make(1, 0);
    tell("config set alias", "TX-0001", R"("alias":{"name":")" + std::string(40, 'a') + R"("})");
    EXPECT_EQ(Device_text(fleet.devices[0], "device", "alias"), std::string(31, 'a'));
}

TEST_F(AvoipsimFleet, a_setting_without_its_data_changes_nothing) {
    make(1, 1);
    const std::string before = Json_print(Fleet_state(fleet).get());
    for (const char* cmd :
         {"config set alias", "config set tx params", "config set rx params", "edid set",
          "config set net params", "matrix set", "serial set params", "serial matrix set",
          "serial data", "ir matrix set", "ir data", "vw set"}) {
        tell(cmd, "All");
    }
    EXPECT_EQ(Json_print(Fleet_state(fleet).get()), before);
    for (const Json& line : logLines()) {
        EXPECT_EQ(Json_print(Json_find(line.get(), "devices")), "[]");
    }
}

TEST_F(AvoipsimFleet, encoder_parameters_read_back_as_set) {
    make(1, 0);
    tell("config set tx params", "TX-0001",
         R"("txparams":{"enctype":"H265","encres":"1280x720","fps":"25","ratecontrol":"VBR",)"
         R"("bitrate":"8000","audioinput":"LINE","audiocodec":"PCM","audiofreq":"44100",)"
         R"("audiobitrate":"256"})");
    EXPECT_EQ(ask("config get tx params", "TX-0001"),
              ack("config get tx params", "TX-0001") +
                  R"(,"txparams":{"deviceid":"TX-0001","alias":"","enctype":"H265",)"
                  R"("encres":"1280x720","fps":"25","ratecontrol":"VBR","bitrate":"8000",)"
                  R"("audioinput":"LINE","audiocodec":"PCM","audiofreq":"44100",)"
                  R"("audiobitrate":"256","videoresstatus":"1920x1080p60","hdcpstatus":"off"}})");
}

TEST_F(AvoipsimFleet, decoder_parameters_read_back_as_set) {
    make(0, 1);
    tell("config set rx params", "RX-0001",
         R"("rxparams":{"luma":"1","contrast":"2","hue":"3","saturation":"4","videoformat":"2"})");
    EXPECT_EQ(ask("config get rx params", "RX-0001"),
              ack("config get rx params", "RX-0001") +
                  R"(,"rxparams":{"deviceid":"RX-0001","alias":"","luma":"1","contrast":"2",)"
                  R"("hue":"3","saturation":"4","videoformat":"2",)"
                  R"("videoresstatus":"1920x1080p60","hdcpstatus":"off"}})");
}

TEST_F(AvoipsimFleet, an_encoder_shows_the_edid_that_it_was_given_and_a_decoder_its_screens) {
    make(1, 2);
    const std::string first = ask("edid get", "RX-0001");
    EXPECT_NE(first.find(R"("rxedid":{"edid":"AP///////wB)"), std::string::npos);
    tell("edid set", "All_TX", R"("txedid":{"edid":"AP8A"})");
    EXPECT_EQ(ask("edid get", "TX-0001"),
              ack("edid get", "TX-0001") + R"(,"rxedid":{"edid":"AP8A"}})");
    EXPECT_EQ(ask("edid get", "RX-0001"), first);
    EXPECT_NE(Device_text(fleet.devices[1], "rxedid", "edid"),
              Device_text(fleet.devices[2], "rxedid", "edid"));
}

TEST_F(AvoipsimFleet, network_settings_read_back_as_set_and_an_empty_one_stays) {
    make(1, 0);
    tell("config set net params", "TX-0001",
         R"("netparams":{"hdcpserver":"1","static":"0","devaddr":"10.77.9.9",)"
         R"("devnetmask":"255.255.255.0","devgateway":"10.77.9.1","devmac":""})");
    EXPECT_EQ(ask("config get net params", "TX-0001"),
              ack("config get net params", "TX-0001") +
                  R"(,"netparams":{"hdcpserver":"1","static":"0","devaddr":"10.77.9.9",)"
                  R"("devnetmask":"255.255.255.0","devgateway":"10.77.9.1",)"
                  R"("devmac":"02:00:01:00:00:01"}})");
    EXPECT_NE(ask("config get device", "TX-0001").find(R"("devaddr":"10.77.9.9")"),
              std::string::npos);
}

TEST_F(AvoipsimFleet, a_video_route_reads_back_as_set_and_clears) {
    make(1, 2);
    tell("matrix set", "All_RX", R"("rxsource":{"txid":"TX-0001"})");
    EXPECT_EQ(ask("matrix get", "RX-0002"),
              ack("matrix get", "RX-0002") + R"(,"rxsource":{"rxid":"RX-0002","txid":"TX-0001"}})");
    tell("matrix clear", "RX-0002");
    EXPECT_EQ(ask("matrix get", "RX-0002"),
              ack("matrix get", "RX-0002") + R"(,"rxsource":{"rxid":"RX-0002","txid":""}})");
    EXPECT_EQ(ask("matrix get", "RX-0001"),
              ack("matrix get", "RX-0001") + R"(,"rxsource":{"rxid":"RX-0001","txid":"TX-0001"}})");
}

TEST_F(AvoipsimFleet, serial_settings_read_back_as_set_on_both_kinds) {
    make(1, 1);
    for (const std::string id : {"TX-0001", "RX-0001"}) {
        tell("serial set params", id,
             R"("serialparams":{"baudrate":"9600","databits":"7","parity":"even",)"
             R"("stopbits":"2"})");
        EXPECT_EQ(ask("serial get params", id),
                  ack("serial get params", id) +
                      R"(,"serialparams":{"baudrate":"9600","databits":"7","parity":"even",)"
                      R"("stopbits":"2"}})");
    }
}

TEST_F(AvoipsimFleet, a_serial_route_names_each_end_by_its_own_key) {
    make(1, 1);
    tell("serial matrix set", "RX-0001", R"("serialsource":{"txid":"TX-0001"})");
    tell("serial matrix set", "TX-0001", R"("serialsource":{"txid":"RX-0001"})");
    for (const std::string id : {"RX-0001", "TX-0001"}) {
        EXPECT_EQ(ask("serial matrix get", id),
                  ack("serial matrix get", id) +
                      R"(,"serialsource":{"rxid":"RX-0001","txid":"TX-0001"}})");
    }
    tell("serial matrix clear", "All");
    EXPECT_EQ(
        ask("serial matrix get", "RX-0001"),
        ack("serial matrix get", "RX-0001") + R"(,"serialsource":{"rxid":"RX-0001","txid":""}})");
}

TEST_F(AvoipsimFleet, an_ir_route_reads_back_as_set_and_clears) {
    make(1, 1);
    tell("ir matrix set", "RX-0001", R"("irsource":{"txid":"TX-0001"})");
    EXPECT_EQ(
        ask("ir matrix get", "RX-0001"),
        ack("ir matrix get", "RX-0001") + R"(,"irsource":{"rxid":"RX-0001","txid":"TX-0001"}})");
    tell("ir matrix clear", "RX-0001");
    EXPECT_EQ(ask("ir matrix get", "RX-0001"),
              ack("ir matrix get", "RX-0001") + R"(,"irsource":{"rxid":"RX-0001","txid":""}})");
}

TEST_F(AvoipsimFleet, serial_and_ir_bytes_show_in_the_log) {
    make(1, 1);
    tell("serial data", "TX-0001", R"("data":"SGVsbG8=")");
    tell("ir data", "RX-0001", R"("data":"AP8=")");
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(Json_text(lines[1].get(), "event"), "serial data");
    EXPECT_EQ(Json_text(lines[1].get(), "device"), "TX-0001");
    EXPECT_EQ(Json_text(lines[1].get(), "hex"), "48656C6C6F");
    EXPECT_EQ(Json_text(lines[1].get(), "text"), "Hello");
    EXPECT_EQ(Json_text(lines[3].get(), "event"), "ir data");
    EXPECT_EQ(Json_text(lines[3].get(), "hex"), "00FF");
    EXPECT_EQ(Json_text(lines[3].get(), "text"), std::nullopt);
}

TEST_F(AvoipsimFleet, a_wall_tile_is_kept_and_removed) {
    make(0, 1);
    tell("vw set", "RX-0001",
         R"("vwsource":{"txid":"TX-0001","deviceid":"RX-0001","wigth":"3840","height":"2160",)"
         R"("horcut":"0","vercut":"5","row":"1","column":"2","x":"0","y":"7"})");
    const Device& decoder = fleet.devices[0];
    EXPECT_EQ(Device_text(decoder, "vwsource", "txid"), "TX-0001");
    EXPECT_EQ(Device_text(decoder, "vwsource", "wigth"), "3840");
    EXPECT_EQ(Device_text(decoder, "vwsource", "row"), "1");
    EXPECT_EQ(Device_text(decoder, "vwsource", "column"), "2");
    EXPECT_EQ(Device_text(decoder, "vwsource", "y"), "7");
    tell("vw remove", "RX-0001");
    EXPECT_EQ(Device_text(decoder, "vwsource", "wigth"), "");
}

TEST_F(AvoipsimFleet, a_device_that_reboots_is_silent_for_a_while) {
    make(1, 1);
    fleet.options.rebootTime = 5s;
    tell("device reboot", "TX-0001");
    const std::string discovery = requestText("config get device", device("All"));
    EXPECT_EQ(answering(discovery, kStart), Ids{"RX-0001"});
    EXPECT_EQ(answering(discovery, kStart + 4999ms), Ids{"RX-0001"});
    EXPECT_EQ(answering(discovery, kStart + 5s), (Ids{"TX-0001", "RX-0001"}));
}

TEST_F(AvoipsimFleet, factory_settings_are_the_first_values_under_the_same_firmware) {
    make(1, 1);
    tell("config set alias", "All", R"("alias":{"name":"x"})");
    tell("serial set params", "All", R"("serialparams":{"baudrate":"9600"})");
    Device_set(fleet.devices[0], "device", "version", "2.0.0");
    tell("device factory", "TX-0001");
    EXPECT_EQ(Device_text(fleet.devices[0], "device", "alias"), "");
    EXPECT_EQ(Device_text(fleet.devices[0], "serialparams", "baudrate"), "115200");
    EXPECT_EQ(Device_text(fleet.devices[0], "device", "version"), "2.0.0");
    EXPECT_EQ(Device_text(fleet.devices[1], "device", "alias"), "x");
}

TEST_F(AvoipsimFleet, firmware_requests_are_acknowledged_whatever_bytes_follow) {
    make(1, 1);
    const std::string text =
        requestText("update tx", device("TX-0001"), R"("count":"1","length":"3")") + "\r\n" +
        std::string("\x00\xff{", 3);
    const auto replies = hear(text);
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].text, ack("update tx", "TX-0001") + "}");
    EXPECT_EQ(ask("update rx", "RX-0001", R"("count":"1","length":"1","data":"x")"),
              ack("update rx", "RX-0001") + "}");
}

TEST_F(AvoipsimFleet, a_silent_device_neither_answers_nor_obeys) {
    fleet.options.faults.silent = {"TX-0001"};
    make(2, 0);
    tell("config set alias", "All", R"("alias":{"name":"x"})");
    EXPECT_EQ(answering(requestText("config get device", device("All"))), Ids{"TX-0002"});
    EXPECT_EQ(Device_text(fleet.devices[0], "device", "alias"), "");
    EXPECT_EQ(Device_text(fleet.devices[1], "device", "alias"), "x");
}

TEST_F(AvoipsimFleet, a_lost_request_is_neither_answered_nor_obeyed_but_logged) {
    make(1, 0);
    fleet.options.faults.loss = 1;
    tell("config set alias", "TX-0001", R"("alias":{"name":"x"})");
    EXPECT_EQ(Device_text(fleet.devices[0], "device", "alias"), "");
    EXPECT_EQ(Json_print(Json_find(logLines()[0].get(), "faults")), R"({"TX-0001":"lost"})");
}

TEST_F(AvoipsimFleet, a_duplicate_is_the_same_reply_twice) {
    make(1, 0);
    fleet.options.faults.duplicate = 1;
    const auto replies = hear(requestText("config get device", device("All")));
    ASSERT_EQ(replies.size(), 2U);
    EXPECT_EQ(replies[0].text, replies[1].text);
    EXPECT_EQ(Json_print(Json_find(logLines()[0].get(), "faults")), R"({"TX-0001":"duplicate"})");
}

TEST_F(AvoipsimFleet, a_late_reply_is_late_by_its_delay) {
    make(1, 0);
    fleet.options.faults.delayMin_ms = 30;
    fleet.options.faults.delayMax_ms = 30;
    EXPECT_EQ(hear(requestText("config get device", device("All"))).at(0).delay, 30ms);
}

TEST_F(AvoipsimFleet, a_thousand_devices_all_answer) {
    make(512, 512);
    EXPECT_EQ(hear(requestText("config get device", device("All"))).size(), 1024U);
    EXPECT_EQ(fleet.devices.back().id, "RX-0512");
    EXPECT_EQ(Device_text(fleet.devices.back(), "netparams", "devaddr"), "10.77.5.0");
    EXPECT_EQ(Device_text(fleet.devices.back(), "netparams", "devmac"), "02:00:02:00:02:00");
}

}  // namespace

}  // namespace avoip::sim
