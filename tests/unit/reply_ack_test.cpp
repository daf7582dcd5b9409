// The acknowledgement that every reply carries.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "capture_output.hpp"
#include "json_allocations.hpp"
#include "protocol/records.hpp"

namespace {

class ReplyAckTest : public testing::Test {
  protected:
    std::int32_t parse(const std::string& reply) {
        std::int32_t result = 0;
        const CapturedOutput captured =
            captureOutput([&] { result = Protocol_client_parseAck(*ack_, reply.c_str()); });
        printed_ = captured.output;
        EXPECT_EQ(captured.errors, "");
        return result;
    }

    static std::string reply(const std::string& cmd, const std::string& status,
                             const std::string& hostid, const std::string& deviceid) {
        return R"({"ack":{"cmd":")" + cmd + R"(","status":")" + status + R"(","hostid":")" +
               hostid + R"(","deviceid":")" + deviceid + R"("}})";
    }

    void expectAck(const std::string& cmd, const std::string& status, const std::string& hostid,
                   const std::string& deviceid) const {
        EXPECT_EQ(ack_->cmd(), cmd);
        EXPECT_EQ(ack_->status(), status);
        EXPECT_EQ(ack_->hostid(), hostid);
        EXPECT_EQ(ack_->deviceid(), deviceid);
    }

    // On the heap, where a byte beyond it would be noticed.
    std::unique_ptr<ReplyAck> ack_ = std::make_unique<ReplyAck>();
    std::string printed_;
};

TEST_F(ReplyAckTest, a_new_ack_is_empty) {
    expectAck("", "", "", "");
}

TEST_F(ReplyAckTest, all_four_texts_are_stored) {
    EXPECT_EQ(parse(reply("config get device", "success", "001122aabbcc", "tx01")), 0);
    expectAck("config get device", "success", "001122aabbcc", "tx01");
    EXPECT_EQ(printed_, "");
}

TEST_F(ReplyAckTest, the_data_object_is_not_looked_at) {
    EXPECT_EQ(parse(R"({"device":5,"ack":{"more":1,"deviceid":"d","hostid":"h","status":"s",)"
                    R"("cmd":"c"},"cmd":"no"})"),
              0);
    expectAck("c", "s", "h", "d");
}

TEST_F(ReplyAckTest, text_that_is_not_json_is_reported) {
    for (const char* text : {"", "hello", R"({"ack":{"cmd":"c")"}) {
        EXPECT_EQ(parse(text), -1) << text;
        EXPECT_EQ(printed_, "cJSON_Parse err!\n") << text;
    }
}

TEST_F(ReplyAckTest, a_reply_without_an_ack_is_reported) {
    for (const char* text : {"{}", R"({"cmd":"c","status":"s"})", "[]", "5"}) {
        EXPECT_EQ(parse(text), -1) << text;
        EXPECT_EQ(printed_, "get ack err!\n") << text;
    }
}

TEST_F(ReplyAckTest, a_missing_key_prints_its_line_and_keeps_what_was_read_before_it) {
    struct Case {
        const char* reply;
        const char* printed;
        std::vector<const char*> texts;
    };
    const std::vector<Case> cases{
        {R"({"ack":{"status":"s","hostid":"h","deviceid":"d"}})",
         "get cmd err!\n",
         {"old", "old", "old", "old"}},
        {R"({"ack":{"cmd":"c","hostid":"h","deviceid":"d"}})",
         "get status err!\n",
         {"c", "old", "old", "old"}},
        {R"({"ack":{"cmd":"c","status":"s","deviceid":"d"}})",
         "get hostid err!\n",
         {"c", "s", "old", "old"}},
        {R"({"ack":{"cmd":"c","status":"s","hostid":"h"}})",
         "get deviceid err!\n",
         {"c", "s", "h", "old"}},
        {R"({"ack":{}})", "get cmd err!\n", {"old", "old", "old", "old"}},
        {R"({"ack":"success"})", "get cmd err!\n", {"old", "old", "old", "old"}},
        {R"({"ack":{"deviceid":"d","hostid":"h"}})",
         "get cmd err!\n",
         {"old", "old", "old", "old"}},
    };
    for (const Case& each : cases) {
        ASSERT_EQ(parse(reply("old", "old", "old", "old")), 0);
        EXPECT_EQ(parse(each.reply), -1) << each.reply;
        EXPECT_EQ(printed_, each.printed) << each.reply;
        expectAck(each.texts[0], each.texts[1], each.texts[2], each.texts[3]);
    }
}

TEST_F(ReplyAckTest, keys_match_without_regard_to_case_and_the_first_counts) {
    EXPECT_EQ(parse(R"({"ACK":{"Cmd":"c","cmd":"no","STATUS":"s","HostId":"h","DEVICEid":"d"},)"
                    R"("ack":{}})"),
              0);
    expectAck("c", "s", "h", "d");
}

TEST_F(ReplyAckTest, values_that_are_no_strings_are_empty_texts) {
    EXPECT_EQ(parse(R"({"ack":{"cmd":5,"status":true,"hostid":null,"deviceid":{"a":"b"}}})"), 0);
    expectAck("", "", "", "");
}

TEST_F(ReplyAckTest, what_follows_the_document_is_not_looked_at) {
    EXPECT_EQ(parse(reply("c", "s", "h", "d") + " {\"ack\""), 0);
    expectAck("c", "s", "h", "d");
}

TEST_F(ReplyAckTest, a_cmd_is_cut_to_127_characters) {
    EXPECT_EQ(parse(reply(std::string(127, 'c'), "s", "h", "d")), 0);
    expectAck(std::string(127, 'c'), "s", "h", "d");
    EXPECT_EQ(parse(reply(std::string(300, 'C'), "s", "h", "d")), 0);
    expectAck(std::string(127, 'C'), "s", "h", "d");
}

TEST_F(ReplyAckTest, texts_of_31_characters_stand_side_by_side) {
    EXPECT_EQ(parse(reply("c", std::string(31, 's'), std::string(31, 'h'), std::string(31, 'd'))),
              0);
    expectAck("c", std::string(31, 's'), std::string(31, 'h'), std::string(31, 'd'));
}

TEST_F(ReplyAckTest, a_long_status_runs_on_into_the_hostid_stored_after_it) {
    EXPECT_EQ(parse(reply("c", std::string(40, 's'), "host", "d")), 0);
    expectAck("c", std::string(32, 's') + "host", "host", "d");
}

TEST_F(ReplyAckTest, a_very_long_status_is_overwritten_by_the_texts_stored_after_it) {
    EXPECT_EQ(parse(reply("c", std::string(300, 's'), "host", "device")), 0);
    expectAck("c", std::string(32, 's') + "host", "host", "device");
}

TEST_F(ReplyAckTest, a_long_hostid_runs_on_into_the_deviceid_stored_after_it) {
    EXPECT_EQ(parse(reply("c", "s", std::string(127, 'h'), "device")), 0);
    expectAck("c", "s", std::string(32, 'h') + "device", "device");
}

TEST_F(ReplyAckTest, a_long_status_stays_visible_when_the_hostid_is_missing) {
    EXPECT_EQ(parse(R"({"ack":{"cmd":"c","status":")" + std::string(70, 's') + R"("}})"), -1);
    EXPECT_EQ(printed_, "get hostid err!\n");
    expectAck("c", std::string(70, 's'), std::string(38, 's'), std::string(6, 's'));
}

TEST_F(ReplyAckTest, a_long_deviceid_is_cut_to_127_characters_and_stays_in_the_object) {
    EXPECT_EQ(parse(reply("c", "s", "h", std::string(127, 'd'))), 0);
    expectAck("c", "s", "h", std::string(127, 'd'));
    EXPECT_EQ(parse(reply("c", "s", "h", std::string(1000, 'D'))), 0);
    expectAck("c", "s", "h", std::string(127, 'D'));
}

TEST_F(ReplyAckTest, a_short_text_takes_the_place_of_a_long_one) {
    EXPECT_EQ(parse(reply(std::string(127, 'c'), std::string(127, 's'), std::string(127, 'h'),
                          std::string(127, 'd'))),
              0);
    EXPECT_EQ(parse(reply("c", "s", "h", "d")), 0);
    expectAck("c", "s", "h", "d");
}

TEST_F(ReplyAckTest, a_read_document_is_released) {
    const JsonAllocations allocations;
    EXPECT_EQ(parse(reply("c", "s", "h", "d")), 0);
    EXPECT_EQ(allocations.outstanding(), 0);
}

TEST_F(ReplyAckTest, a_document_that_lacks_something_is_kept_unreleased) {
    for (const char* text :
         {"{}", R"({"ack":{}})", R"({"ack":{"cmd":"c"}})", R"({"ack":{"cmd":"c","status":"s"}})",
          R"({"ack":{"cmd":"c","status":"s","hostid":"h"}})"}) {
        const JsonAllocations allocations;
        EXPECT_EQ(parse(text), -1);
        EXPECT_GT(allocations.outstanding(), 0) << text;
    }
}

}  // namespace
