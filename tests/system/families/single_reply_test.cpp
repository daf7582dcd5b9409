// The rules of the exchange, for every command that asks one device and waits for its reply.
#include <ostream>

#include "system/families/conversation.hpp"

namespace {

using namespace families;

/// A member of the object that a reply carries, and what is printed when it is missing.
struct Member {
    std::string key;
    std::string value;
    std::string missing;
};

struct Getter {
    std::string name;
    std::string line;
    std::string device;
    /// The device request's "cmd".
    std::string cmd;
    /// The reply's object.
    std::string object;
    std::vector<Member> members;
    std::string objectMissing = "get device err!";
    /// The data of the answer, and what is printed before it.
    std::string answerData;
    std::string printed{};
    std::string errorLine;
    /// The "cmd" of the answers.
    std::string successName;
    std::string failureName;
    /// The request and every datagram that comes are printed.
    bool traced = false;
    /// The data of the answer to a reply without the data, where that is a success.
    std::string routelessData{};
    std::string routelessPrinted{};
};

void PrintTo(const Getter& getter, std::ostream* out) {
    *out << getter.line;
}

const Getter kGetters[] = {
    {.name = "tx_params",
     .line = "config get tx params tx01!",
     .device = "tx01",
     .cmd = "config get tx params",
     .object = "txparams",
     .members = {{"deviceid", "tx01", "get deviceid err!"},
                 {"alias", "Stage", "get deviceid err!"},
                 {"enctype", "H264", "get deviceid err!"},
                 {"encres", "1080p", "get deviceid err!"},
                 {"fps", "30", "get deviceid err!"},
                 {"ratecontrol", "CBR", "get deviceid err!"},
                 {"bitrate", "4000", "get deviceid err!"},
                 {"audioinput", "hdmi", "get deviceid err!"},
                 {"audiocodec", "aac", "get deviceid err!"},
                 {"audiofreq", "48000", "get deviceid err!"},
                 {"audiobitrate", "128", "get deviceid err!"},
                 {"videoresstatus", "1", "get deviceid err!"},
                 {"hdcpstatus", "0", "get deviceid err!"}},
     .answerData = R"(,"txparamsinfo":[{"alias":"Stage","deviceid":"tx01","enctype":"H264",)"
                   R"("encres":"1080p","fps":"30","ratecontrol":"CBR","bitrate":"4000",)"
                   R"("audioinput":"hdmi","audiocodec":"aac","audiofreq":"48000",)"
                   R"("audiobitrate":"128","videoresstatus":"1","hdcpstatus":"0"}])",
     .errorLine = "Protocol_client_getEncodeParams err!",
     .successName = "config get tx params",
     .failureName = "config get tx params"},
    {.name = "rx_params",
     .line = "config get rx params rx01!",
     .device = "rx01",
     .cmd = "config get rx params",
     .object = "rxparams",
     .members = {{"deviceid", "rx01", "get deviceid err!"},
                 {"alias", "Hall", "get alias err!"},
                 {"luma", "1", "get luma err!"},
                 {"contrast", "2", "get contrast err!"},
                 {"hue", "3", "get hue err!"},
                 {"saturation", "4", "get saturation err!"},
                 {"videoformat", "0", "get videoformat err!"},
                 {"videoresstatus", "1", "get deviceid err!"},
                 {"hdcpstatus", "0", "get deviceid err!"}},
     .answerData = R"(,"rxparamsinfo":[{"alias":"Hall","deviceid":"rx01","luma":"1",)"
                   R"("contrast":"2","hue":"3","saturation":"4","videoformat":"0",)"
                   R"("videoresstatus":"1","hdcpstatus":"0"}])",
     .errorLine = "Protocol_client_getDecodeParams err!",
     .successName = "config get rx params",
     .failureName = "config get rx params"},
    {.name = "edid",
     .line = "config get rx edid rx01!",
     .device = "rx01",
     .cmd = "edid get",
     .object = "rxedid",
     .members = {{"edid", "AP8A", "get edid err!"}},
     .objectMissing = "get rxedid err!",
     .answerData = R"(,"rxedid":[{"deviceid":"rx01","edid":"00FF00"}])",
     .errorLine = "Protocol_client_getDecodeEdid err!",
     .successName = "config get rx edid",
     .failureName = "config get rx edid"},
    {.name = "net_params",
     .line = "config get net params tx01!",
     .device = "tx01",
     .cmd = "config get net params",
     .object = "netparams",
     .members = {{"hdcpserver", "1", "get deviceid err!"},
                 {"static", "0", "get deviceid err!"},
                 {"devaddr", "10.0.0.9", "get deviceid err!"},
                 {"devnetmask", "255.0.0.0", "get deviceid err!"},
                 {"devgateway", "10.0.0.254", "get deviceid err!"},
                 {"devmac", "00:11:22:33:44:55", "get deviceid err!"}},
     .answerData = R"(,"netparamsinfo":[{"deviceid":"tx01","hdcpserver":"1","static":"0",)"
                   R"("devaddr":"10.0.0.9","devnetmask":"255.0.0.0",)"
                   R"("devgateway":"10.0.0.254","devmac":"00:11:22:33:44:55"}])",
     // Both of another command, on purpose.
     .errorLine = "Protocol_client_getDecodeParams err!",
     .successName = "config get net params",
     .failureName = "config set net params"},
    {.name = "video_route",
     .line = "matrix get rx01!",
     .device = "rx01",
     .cmd = "matrix get",
     .object = "rxsource",
     .members = {{"rxid", "rx01", "get deviceid err!"}, {"txid", "tx03", "get deviceid err!"}},
     .objectMissing = "get rxsource err!",
     .answerData = R"(,"rxsource":[{"rxid":"rx01","txid":"tx03"}])",
     .printed = "Encoderid tx03\n",
     .errorLine = "Protocol_client_matrix_getDecode err!",
     .successName = "matrix get",
     .failureName = "matrix get",
     .routelessData = R"(,"rxsource":[{"rxid":"rx01","txid":""}])",
     .routelessPrinted = "Encoderid \n"},
    {.name = "serial_params",
     .line = "serial get params tx01!",
     .device = "tx01",
     .cmd = "serial get params",
     .object = "serialparams",
     .members = {{"baudrate", "9600", "get deviceid err!"},
                 {"databits", "8", "get deviceid err!"},
                 {"parity", "none", "get deviceid err!"},
                 {"stopbits", "1", "get deviceid err!"}},
     .answerData = R"(,"serialparams":[{"deviceid":"tx01","baudrate":"9600","databits":"8",)"
                   R"("parity":"none","stopbits":"1"}])",
     .printed = R"(out: {"ack":{"cmd":"serial get params","status":"success"},)"
                R"("serialparams":[{"deviceid":"tx01","baudrate":"9600","databits":"8",)"
                R"("parity":"none","stopbits":"1"}]})"
                "\n",
     .errorLine = "Protocol_client_serial_getParams err!",
     .successName = "serial get params",
     .failureName = "serial get params",
     .traced = true},
    {.name = "serial_route",
     .line = "serial matrix get rx01!",
     .device = "rx01",
     .cmd = "serial matrix get",
     .object = "serialsource",
     .members = {{"rxid", "rx01", "get deviceid err!"}, {"txid", "tx03", "get deviceid err!"}},
     .objectMissing = "get rxsource err!",
     .answerData = R"(,"serialsource":[{"rxid":"rx01","txid":"tx03"}])",
     .printed = "Rxid tx03\n",
     .errorLine = "Protocol_client_serial_matrixGet err!",
     .successName = "serial matrix get",
     .failureName = "serial matrix get"},
    {.name = "ir_route",
     .line = "ir matrix get rx01!",
     .device = "rx01",
     .cmd = "ir matrix get",
     .object = "irsource",
     .members = {{"rxid", "rx01", "get rxid err!"}, {"txid", "tx03", "get txid err!"}},
     .objectMissing = "get irsource err!",
     .answerData = R"(,"irsource":[{"rxid":"rx01","txid":"tx03"}])",
     .printed = "Rxid tx03\n",
     .errorLine = "Protocol_client_ir_matrixGet err!",
     .successName = "ir matrix get",
     .failureName = "ir matrix get"},
};

/// The reply's object, without the member `left`, as JSON text.
std::string objectOf(const Getter& getter, const Member* left = nullptr) {
    std::string text;
    for (const Member& member : getter.members) {
        if (&member != left) {
            text.append(text.empty() ? "" : ",").append("\"").append(member.key);
            text.append("\":\"").append(member.value).append("\"");
        }
    }
    return "\"" + getter.object + "\":{" + text + "}";
}

class SingleReply : public Conversation, public testing::WithParamInterface<Getter> {
  protected:
    const Getter& getter_ = GetParam();
    const std::string right_ = reply(getter_.cmd, objectOf(getter_));

    /// The exchange up to its answer; `printed` is what is printed behind each of the replies that
    /// are read.
    Exchange asking(const std::vector<std::string>& replies,
                    const std::vector<std::string>& printed) const {
        Exchange exchange{.line = getter_.line,
                          .heard = {request(getter_.cmd, getter_.device)},
                          .replies = replies};
        if (getter_.traced) {
            exchange.printed = exchange.heard.front() + "\n";
        }
        for (std::size_t i = 0; i < printed.size(); ++i) {
            if (getter_.traced) {
                exchange.printed += "recv buf: " + replies[i] + "\n";
            }
            exchange.printed += printed[i];
        }
        return exchange;
    }

    void expectSuccess(const std::vector<std::string>& replies,
                       const std::vector<std::string>& printed) {
        Exchange exchange = asking(replies, printed);
        exchange.printed += getter_.printed;
        exchange.answer = answerText(getter_.successName, "success", getter_.answerData);
        expect(exchange);
    }

    void expectFailure(const std::vector<std::string>& replies,
                       const std::vector<std::string>& printed) {
        Exchange exchange = asking(replies, printed);
        exchange.printed += getter_.errorLine + "\n";
        exchange.answer = failure(getter_.failureName);
        expect(exchange);
    }

    /// Whatever a reply without the data is to this command.
    void expectWithoutData(const std::string& text, const std::string& missing) {
        SCOPED_TRACE(text);
        if (getter_.routelessData.empty()) {
            expectFailure({text}, {missing + "\n"});
            return;
        }
        Exchange exchange = asking({text}, {missing + "\n"});
        exchange.printed += getter_.routelessPrinted;
        exchange.answer = answerText(getter_.successName, "success", getter_.routelessData);
        expect(exchange);
    }
};

TEST_P(SingleReply, a_matching_reply_is_answered) {
    expectSuccess({right_}, {""});
    // Keys in any case, members of no concern, and another device's identity.
    std::string other = right_;
    other.replace(other.find("\"ack\""), 5, "\"other\":[1],\"ACK\"");
    other.replace(other.find("\"anyone\""), 8, "\"\"");
    expectSuccess({other}, {""});
}

TEST_P(SingleReply, a_foreign_ack_ends_it_at_once) {
    const std::string foreign =
        bed::replyText("config get device", "success", kHostid, getter_.device, objectOf(getter_));
    expectFailure({foreign, right_}, {""});
}

TEST_P(SingleReply, a_failed_status_ends_it_at_once) {
    const std::string failed =
        bed::replyText(getter_.cmd, "failure", kHostid, getter_.device, objectOf(getter_));
    expectFailure({failed, right_}, {""});
}

TEST_P(SingleReply, the_host_identity_of_another_ends_it_at_once) {
    const std::string others =
        bed::replyText(getter_.cmd, "success", "001122aabbcd", getter_.device, objectOf(getter_));
    expectFailure({others, right_}, {""});
}

TEST_P(SingleReply, what_carries_no_ack_is_passed_over) {
    // Each longer than the one before it, so that none leaves a tail behind the next.
    const std::string noDocument = "{\"ack\"";
    const std::string noAck = "{\"reply\":{}}";
    const std::string shortAck =
        R"({"ack":{"cmd":"x","status":"success","hostid":"001122aabbcc"}})";
    expectSuccess({noDocument, noAck, shortAck, right_},
                  {"cJSON_Parse err!\n", "get ack err!\n", "get deviceid err!\n", ""});
}

TEST_P(SingleReply, a_reply_without_the_object_says_what_is_missing) {
    expectWithoutData(reply(getter_.cmd, ""), getter_.objectMissing);
    expectWithoutData(reply(getter_.cmd, "\"other\":{}"), getter_.objectMissing);
}

TEST_P(SingleReply, a_reply_without_a_member_says_what_is_missing) {
    for (const Member& member : getter_.members) {
        expectWithoutData(reply(getter_.cmd, objectOf(getter_, &member)), member.missing);
    }
    expectWithoutData(reply(getter_.cmd, "\"" + getter_.object + "\":{}"),
                      getter_.members.front().missing);
}

TEST_P(SingleReply, silence_fails_it) {
    expectFailure({}, {});
}

INSTANTIATE_TEST_SUITE_P(Commands, SingleReply, testing::ValuesIn(kGetters),
                         [](const auto& getter) { return getter.param.name; });

}  // namespace
