// The five record parsers: every key of every record, by exact message.
#include "protocol/records.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "capture_output.hpp"
#include "json_allocations.hpp"

namespace {

using Texts = std::vector<std::string>;

/// Parses into a record whose fields hold `fields`, and reads them back.
using Parser = std::function<std::int32_t(const std::string& reply, Texts& fields)>;

template <typename Record>
Parser parserOf(std::int32_t (*parse)(const char*, Record&)) {
    return [parse](const std::string& reply, Texts& fields) {
        std::array<FixedText<32>, sizeof(Record) / 32> raw{};
        for (std::size_t i = 0; i < raw.size(); ++i) {
            raw.at(i).set(fields.at(i));
        }
        auto record = std::bit_cast<Record>(raw);
        const std::int32_t result = parse(reply.c_str(), record);
        raw = std::bit_cast<decltype(raw)>(record);
        std::ranges::transform(raw, fields.begin(),
                               [](const auto& text) { return std::string(text.view()); });
        return result;
    };
}

struct Key {
    const char* key;
    const char* missing;
};

struct RecordCase {
    const char* name;
    const char* object;
    std::vector<Key> keys;
    Parser parser;
};

std::ostream& operator<<(std::ostream& stream, const RecordCase& record) {
    return stream << record.name;
}

std::vector<RecordCase> recordCases() {
    return {
        {"DeviceRecord",
         "device",
         {{"deviceid", "get deviceid err!\n"},
          {"alias", "get alias err!\n"},
          {"devtype", "get devtype err!\n"},
          {"devaddr", "get devaddr err!\n"},
          {"devnetmask", "get devnetmask err!\n"},
          {"devgateway", "get devgateway err!\n"},
          {"devmac", "get devmac err!\n"},
          {"status", "get status err!\n"},
          {"version", "get version err!\n"}},
         parserOf(Protocol_client_parseDevice)},
        {"EncodeParams",
         "txparams",
         {{"deviceid", "get deviceid err!\n"},
          {"alias", "get deviceid err!\n"},
          {"enctype", "get deviceid err!\n"},
          {"encres", "get deviceid err!\n"},
          {"fps", "get deviceid err!\n"},
          {"ratecontrol", "get deviceid err!\n"},
          {"bitrate", "get deviceid err!\n"},
          {"audioinput", "get deviceid err!\n"},
          {"audiocodec", "get deviceid err!\n"},
          {"audiofreq", "get deviceid err!\n"},
          {"audiobitrate", "get deviceid err!\n"},
          {"videoresstatus", "get deviceid err!\n"},
          {"hdcpstatus", "get deviceid err!\n"}},
         parserOf(Protocol_client_parseTxParams)},
        {"DecodeParams",
         "rxparams",
         {{"deviceid", "get deviceid err!\n"},
          {"alias", "get alias err!\n"},
          {"luma", "get luma err!\n"},
          {"contrast", "get contrast err!\n"},
          {"hue", "get hue err!\n"},
          {"saturation", "get saturation err!\n"},
          {"videoformat", "get videoformat err!\n"},
          {"videoresstatus", "get deviceid err!\n"},
          {"hdcpstatus", "get deviceid err!\n"}},
         parserOf(Protocol_client_parseRxParams)},
        {"SerialParams",
         "serialparams",
         {{"baudrate", "get deviceid err!\n"},
          {"databits", "get deviceid err!\n"},
          {"parity", "get deviceid err!\n"},
          {"stopbits", "get deviceid err!\n"}},
         parserOf(Protocol_client_parseSerialParams)},
        {"NetParams",
         "netparams",
         {{"hdcpserver", "get deviceid err!\n"},
          {"static", "get deviceid err!\n"},
          {"devaddr", "get deviceid err!\n"},
          {"devnetmask", "get deviceid err!\n"},
          {"devgateway", "get deviceid err!\n"},
          {"devmac", "get deviceid err!\n"}},
         parserOf(Protocol_client_parseNetParams)},
    };
}

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

class Records : public testing::TestWithParam<RecordCase> {
  protected:
    const std::vector<Key>& keys() const { return GetParam().keys; }

    /// A member `key`, whose value is the JSON text that stands for it here: "v-" and the key.
    static std::string member(std::string_view key) {
        return inQuotes(key) + ":" + inQuotes("v-" + std::string(key));
    }

    /// A reply whose object has the members.
    std::string reply(const Texts& members) const {
        std::string joined;
        for (const std::string& each : members) {
            joined += (joined.empty() ? "" : ",") + each;
        }
        return R"({"ack":{"cmd":"x"},)" + inQuotes(GetParam().object) + ":{" + joined + "}}";
    }

    Texts allMembers() const {
        Texts members;
        for (const Key& each : keys()) {
            members.push_back(member(each.key));
        }
        return members;
    }

    Texts allValues() const {
        Texts values;
        for (const Key& each : keys()) {
            values.push_back("v-" + std::string(each.key));
        }
        return values;
    }

    /// Parses into fields that all hold "old"; what is printed goes to `printed_`.
    std::int32_t parse(const std::string& text) {
        fields_.assign(keys().size(), "old");
        std::int32_t result = 0;
        const CapturedOutput captured =
            captureOutput([&] { result = GetParam().parser(text, fields_); });
        printed_ = captured.output;
        EXPECT_EQ(captured.errors, "");
        return result;
    }

    Texts fields_;
    std::string printed_;
};

INSTANTIATE_TEST_SUITE_P(All, Records, testing::ValuesIn(recordCases()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Records, a_complete_object_fills_every_field_in_order) {
    EXPECT_EQ(parse(reply(allMembers())), 0);
    EXPECT_EQ(fields_, allValues());
    EXPECT_EQ(printed_, "");
}

TEST_P(Records, a_missing_key_prints_its_line_and_ends_the_reading_there) {
    for (std::size_t missing = 0; missing < keys().size(); ++missing) {
        Texts members = allMembers();
        members.erase(members.begin() + static_cast<std::ptrdiff_t>(missing));
        EXPECT_EQ(parse(reply(members)), -1) << keys()[missing].key;
        EXPECT_EQ(printed_, keys()[missing].missing) << keys()[missing].key;
        Texts expected = allValues();
        std::fill(expected.begin() + static_cast<std::ptrdiff_t>(missing), expected.end(), "old");
        EXPECT_EQ(fields_, expected) << keys()[missing].key;
    }
}

TEST_P(Records, of_several_missing_keys_the_first_in_the_records_order_is_reported) {
    for (std::size_t present = 0; present < keys().size(); ++present) {
        Texts members = allMembers();
        members.resize(present);
        EXPECT_EQ(parse(reply(members)), -1);
        EXPECT_EQ(printed_, keys()[present].missing) << keys()[present].key;
    }
}

TEST_P(Records, the_order_of_the_members_and_further_members_do_not_matter) {
    Texts members = allMembers();
    std::ranges::reverse(members);
    members.insert(members.begin(), R"("further":{"deviceid":"no"})");
    members.emplace_back(R"("last":5)");
    EXPECT_EQ(parse(reply(members)), 0);
    EXPECT_EQ(fields_, allValues());
}

TEST_P(Records, a_missing_object_is_reported_as_the_device) {
    EXPECT_EQ(parse(R"({"ack":{"deviceid":"x"}})"), -1);
    EXPECT_EQ(printed_, "get device err!\n");
    EXPECT_EQ(fields_, Texts(keys().size(), "old"));
}

TEST_P(Records, an_object_of_another_type_lacks_its_first_key) {
    for (const char* value : {"[]", "\"x\"", "5", "true", "null"}) {
        EXPECT_EQ(parse("{" + inQuotes(GetParam().object) + ":" + value + "}"), -1) << value;
        EXPECT_EQ(printed_, keys().front().missing) << value;
    }
}

TEST_P(Records, a_document_that_is_no_object_has_no_object_in_it) {
    for (const char* text : {"[]", "\"x\"", "5", "null"}) {
        EXPECT_EQ(parse(text), -1) << text;
        EXPECT_EQ(printed_, "get device err!\n") << text;
    }
}

TEST_P(Records, text_that_is_not_json_is_reported) {
    const std::string whole = reply(allMembers());
    for (const std::string& text :
         {std::string(), std::string("hello"), "x" + whole, whole.substr(0, whole.size() - 1)}) {
        EXPECT_EQ(parse(text), -1) << text;
        EXPECT_EQ(printed_, "cJSON_Parse err!\n") << text;
        EXPECT_EQ(fields_, Texts(keys().size(), "old"));
    }
}

TEST_P(Records, what_follows_the_document_is_not_looked_at) {
    EXPECT_EQ(parse(reply(allMembers()) + "}] junk"), 0);
    EXPECT_EQ(fields_, allValues());
}

TEST_P(Records, keys_match_without_regard_to_case) {
    std::string text = "{" + inQuotes(GetParam().object) + ":{";
    for (const Key& each : keys()) {
        text += inQuotes(each.key) + ":1,";
    }
    text += "\"x\":1}}";
    std::ranges::transform(text, text.begin(), [](unsigned char character) {
        return static_cast<char>(std::toupper(character));
    });
    EXPECT_EQ(parse(text), 0);
    EXPECT_EQ(printed_, "");
    EXPECT_EQ(fields_, Texts(keys().size(), ""));
}

TEST_P(Records, of_equal_keys_the_first_counts) {
    for (std::size_t twice = 0; twice < keys().size(); ++twice) {
        Texts members = allMembers();
        std::string capital = keys()[twice].key;
        capital.front() = static_cast<char>(std::toupper(capital.front()));
        members.push_back(inQuotes(keys()[twice].key) + ":\"second\"");
        members.insert(members.begin(), inQuotes(capital) + ":\"first\"");
        EXPECT_EQ(parse(reply(members)), 0);
        Texts expected = allValues();
        expected[twice] = "first";
        EXPECT_EQ(fields_, expected) << keys()[twice].key;
    }
}

TEST_P(Records, of_two_objects_with_the_key_the_first_counts) {
    const std::string whole = reply(allMembers());
    const std::string second = "," + inQuotes(GetParam().object) + ":{}}";
    EXPECT_EQ(parse(whole.substr(0, whole.size() - 1) + second), 0);
    EXPECT_EQ(fields_, allValues());
}

TEST_P(Records, a_value_is_cut_to_31_characters) {
    const std::string value = "1234567890123456789012345678901234567890";
    for (const std::size_t length : {30U, 31U, 32U, 40U}) {
        for (std::size_t i = 0; i < keys().size(); ++i) {
            Texts members = allMembers();
            members[i] = inQuotes(keys()[i].key) + ":" + inQuotes(value.substr(0, length));
            EXPECT_EQ(parse(reply(members)), 0);
            Texts expected = allValues();
            expected[i] = value.substr(0, std::min<std::size_t>(length, 31));
            EXPECT_EQ(fields_, expected) << keys()[i].key << ' ' << length;
        }
    }
}

TEST_P(Records, a_value_that_is_no_string_is_an_empty_text) {
    for (const char* value :
         {"4000", "-1.5", "true", "false", "null", R"({"a":"b"})", R"(["a"])"}) {
        for (std::size_t i = 0; i < keys().size(); ++i) {
            Texts members = allMembers();
            members[i] = inQuotes(keys()[i].key) + ":" + value;
            EXPECT_EQ(parse(reply(members)), 0);
            Texts expected = allValues();
            expected[i] = "";
            EXPECT_EQ(fields_, expected) << keys()[i].key << ' ' << value;
        }
    }
}

TEST_P(Records, a_read_document_is_released) {
    const std::string text = reply(allMembers());
    const JsonAllocations allocations;
    EXPECT_EQ(parse(text), 0);
    EXPECT_EQ(allocations.outstanding(), 0);
}

TEST_P(Records, a_document_that_lacks_something_is_kept_unreleased) {
    const Texts members = allMembers();
    for (std::size_t present = 0; present < members.size(); ++present) {
        const std::string text =
            reply({members.begin(), members.begin() + static_cast<std::ptrdiff_t>(present)});
        const JsonAllocations allocations;
        EXPECT_EQ(parse(text), -1);
        EXPECT_GT(allocations.outstanding(), 0);
    }
    const JsonAllocations allocations;
    EXPECT_EQ(parse("{}"), -1);
    EXPECT_GT(allocations.outstanding(), 0);
}

TEST_P(Records, text_that_is_not_json_leaves_nothing_allocated) {
    const JsonAllocations allocations;
    EXPECT_EQ(parse(R"({"device":{"deviceid":"x")"), -1);
    EXPECT_EQ(allocations.outstanding(), 0);
}

TEST(RecordMembers, are_added_in_the_order_of_the_list_under_its_keys) {
    NetParams record{};
    record.devmac.set("mac");
    record.isStatic.set("yes");
    constexpr RecordMember<NetParams> kMembers[] = {{"static", &NetParams::isStatic},
                                                    {"address", &NetParams::devmac},
                                                    {"empty", &NetParams::devaddr}};
    const JsonTree root = Json_newObject();
    Record_addMembers<NetParams>(root.get(), record, kMembers);
    EXPECT_STREQ(Json_print(root.get()).get(), R"({"static":"yes","address":"mac","empty":""})");
}

}  // namespace
