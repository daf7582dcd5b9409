#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Parameters = Conversation;

/// The values of a "config set tx params" line; each can be replaced.
struct TxValues {
    std::string identity = "tx01";
    std::string addressed = identity;  // in the request
    std::string enctype = "H264";
    std::string encres = "1080p";
    std::string fps = "30";
    std::string ratecontrol = "CBR";
    std::string bitrate = "4000";
    std::string audio = "hdmi aac 48000 128";

    std::string line() const {
        return "config set tx params " + identity + " " + enctype + " " + encres + " " + fps + " " +
               ratecontrol + " " + bitrate + " " + audio + "!";
    }

    Exchange accepted() const {
        return {.line = line(),
                .heard = {request("config set tx params", addressed,
                                  R"("txparams":{"enctype":")" + enctype + R"(","encres":")" +
                                      encres + R"(","fps":")" + fps + R"(","ratecontrol":")" +
                                      ratecontrol + R"(","bitrate":")" + bitrate +
                                      R"(","audioinput":"hdmi","audiocodec":"aac",)"
                                      R"("audiofreq":"48000","audiobitrate":"128"})")},
                .answer = success("config set tx params")};
    }
};

/// The values of a "config set rx params" line.
struct RxValues {
    std::string identity = "rx01";
    std::string addressed = identity;  // in the request
    std::string luma = "50";
    std::string contrast = "50";
    std::string hue = "50";
    std::string saturation = "50";
    std::string videoformat = "1";

    std::string line() const {
        return "config set rx params " + identity + " " + luma + " " + contrast + " " + hue + " " +
               saturation + " " + videoformat + "!";
    }

    Exchange accepted() const {
        return {.line = line(),
                .heard = {request("config set rx params", addressed,
                                  R"("rxparams":{"luma":")" + luma + R"(","contrast":")" +
                                      contrast + R"(","hue":")" + hue + R"(","saturation":")" +
                                      saturation + R"(","videoformat":")" + videoformat + R"("})")},
                // The encoder command's name, on purpose.
                .answer = success("config set tx params")};
    }
};

TEST_F(Parameters, encoder_parameters_are_sent_in_their_order) {
    expect(TxValues{}.accepted());
    expect(TxValues{.enctype = "H265", .encres = "any", .ratecontrol = "VBR"}.accepted());
}

TEST_F(Parameters, the_frame_rate_lies_between_1_and_30) {
    for (const char* fps : {"1", "30", "+30", "007", "30fps", "1.9"}) {
        expect(TxValues{.fps = fps}.accepted());
    }
    for (const char* fps : {"0", "31", "033", "-1", "abc", "0x10", "99999999999999999999",
                            "18446744073709551617", "-18446744073709551615"}) {
        expectRefused(TxValues{.fps = fps}.line(), "config set tx params");
    }
}

TEST_F(Parameters, the_bit_rate_lies_between_32_and_20480) {
    for (const char* bitrate : {"32", "20480"}) {
        expect(TxValues{.bitrate = bitrate}.accepted());
    }
    for (const char* bitrate : {"31", "20481", "0", "-4000", "fast"}) {
        expectRefused(TxValues{.bitrate = bitrate}.line(), "config set tx params");
    }
}

TEST_F(Parameters, encoding_and_rate_control_are_taken_to_the_letter) {
    for (const char* enctype : {"h264", "H266", "H26", "H2644", "HEVC"}) {
        expectRefused(TxValues{.enctype = enctype}.line(), "config set tx params");
    }
    for (const char* ratecontrol : {"ABR", "cbr", "CBRX", "VB"}) {
        expectRefused(TxValues{.ratecontrol = ratecontrol}.line(), "config set tx params");
    }
}

TEST_F(Parameters, a_short_encoder_line_is_refused) {
    for (const char* line :
         {"config set tx params!", "config set tx params tx01!", "config set tx params tx01 H264!",
          "config set tx params tx01 H264 1080p!", "config set tx params tx01 H264 1080p 30!",
          "config set tx params tx01 H264 1080p 30 CBR!"}) {
        expectRefused(line, "config set tx params");
    }
}

TEST_F(Parameters, encoder_values_that_are_not_reached_are_sent_empty) {
    const auto members = [](const std::string& audio) {
        return R"("txparams":{"enctype":"H264","encres":"1080p","fps":"30","ratecontrol":"CBR",)"
               R"("bitrate":"4000",)" +
               audio + "}";
    };
    const std::string name = "config set tx params";
    const std::string begin = name + " tx01 H264 1080p 30 CBR 4000 ";
    expect({.line = begin + "hdmi aac !",
            .heard = {request(name, "tx01",
                              members(R"("audioinput":"hdmi","audiocodec":"aac","audiofreq":"!",)"
                                      R"("audiobitrate":"")"))},
            .answer = success(name)});
    expect({.line = begin + "hdmi aac 48000 !",
            .heard = {request(name, "tx01",
                              members(R"("audioinput":"hdmi","audiocodec":"aac",)"
                                      R"("audiofreq":"48000","audiobitrate":"")"))},
            .answer = success(name)});
    expect({.line = begin + "hdmi aac 48000 128 kbit/s !",
            .heard = {request(name, "tx01",
                              members(R"("audioinput":"hdmi","audiocodec":"aac",)"
                                      R"("audiofreq":"48000","audiobitrate":"128 kbit/s ")"))},
            .answer = success(name)});
}

TEST_F(Parameters, a_long_value_is_cut_and_does_not_spill) {
    const std::string longValue = "1080p" + std::string(60, 'x');
    const std::string cut = longValue.substr(0, 31);
    Exchange exchange = TxValues{.encres = cut}.accepted();
    exchange.line = TxValues{.encres = longValue}.line();
    expect(exchange);
    // The number that is tested and sent is the one that is left.
    expectRefused(TxValues{.fps = std::string(31, '0') + "7"}.line(), "config set tx params");
    exchange = TxValues{.fps = std::string(30, '0') + "3"}.accepted();
    exchange.line = TxValues{.fps = std::string(30, '0') + "31"}.line();
    expect(exchange);
}

TEST_F(Parameters, decoder_parameters_are_sent_in_their_order_and_answered_as_the_encoders) {
    expect(RxValues{.luma = "1", .contrast = "2", .hue = "3", .saturation = "4"}.accepted());
}

TEST_F(Parameters, picture_values_lie_between_0_and_100) {
    using Value = std::string RxValues::*;
    for (const Value value :
         {&RxValues::luma, &RxValues::contrast, &RxValues::hue, &RxValues::saturation}) {
        for (const char* accepted : {"0", "100", "abc", "-0"}) {
            RxValues values;
            values.*value = accepted;
            expect(values.accepted());
        }
        for (const char* refused : {"-1", "101", "4294967295", "18446744073709551615"}) {
            RxValues values;
            values.*value = refused;
            expectRefused(values.line(), "config set rx params");
        }
    }
}

TEST_F(Parameters, the_video_format_lies_between_0_and_2) {
    for (const char* videoformat : {"0", "2", "auto", "2 or so"}) {
        expect(RxValues{.videoformat = videoformat}.accepted());
    }
    for (const char* videoformat : {"3", "-1"}) {
        expectRefused(RxValues{.videoformat = videoformat}.line(), "config set rx params");
    }
}

TEST_F(Parameters, decoder_values_that_are_not_reached_are_sent_empty) {
    expect({.line = "config set rx params rx01 10!",
            .heard = {request("config set rx params", "rx01",
                              R"("rxparams":{"luma":"10!","contrast":"","hue":"",)"
                              R"("saturation":"","videoformat":""})")},
            .answer = success("config set tx params")});
    expect({.line = "config set rx params!",
            .heard = {request("config set rx params", "",
                              R"("rxparams":{"luma":"","contrast":"","hue":"",)"
                              R"("saturation":"","videoformat":""})")},
            .answer = success("config set tx params")});
}

TEST_F(Parameters, an_identity_is_read_as_a_pattern) {
    expect(TxValues{.identity = "100%%%dx", .addressed = "100%x"}.accepted());
    expect(RxValues{.identity = "100%%%dx", .addressed = "100%x"}.accepted());
    expect({.line = "config get rx params rx 100%%%dx!",
            .heard = {request("config get rx params", "rx 100%x")},
            .replies = {reply("config get rx params", "")},
            .printed = "get device err!\nProtocol_client_getDecodeParams err!\n",
            .answer = failure("config get rx params")});
}

TEST_F(Parameters, the_device_to_ask_is_the_rest_of_the_line) {
    constexpr const char* kData =
        R"("txparams":{"deviceid":"7","alias":"a","enctype":"H264","encres":"1080p","fps":"30",)"
        R"("ratecontrol":"CBR","bitrate":"4000","audioinput":"hdmi","audiocodec":"aac",)"
        R"("audiofreq":"48000","audiobitrate":"128","videoresstatus":"ok","hdcpstatus":"off"})";
    const std::string name = "config get tx params";
    expect({.line = name + " tx01 50%%  x%d!",
            .heard = {request(name, "tx01 50%  x")},
            .replies = {reply(name, kData)},
            .answer =
                answerText(name, "success",
                           R"(,"txparamsinfo":[{"alias":"a","deviceid":"7","enctype":"H264",)"
                           R"("encres":"1080p","fps":"30","ratecontrol":"CBR","bitrate":"4000",)"
                           R"("audioinput":"hdmi","audiocodec":"aac","audiofreq":"48000",)"
                           R"("audiobitrate":"128","videoresstatus":"ok","hdcpstatus":"off"}])")});
}

TEST_F(Parameters, reported_values_are_cut_to_their_fields_and_empty_where_they_are_no_texts) {
    const std::string name = "config get rx params";
    const std::string longText(40, 'v');
    expect({.line = name + " rx01!",
            .heard = {request(name, "rx01")},
            .replies = {reply(name, R"("RxParams":{"DeviceId":"rx01","ALIAS":")" + longText +
                                        R"(","luma":50,"contrast":null,"hue":true,)"
                                        R"("saturation":{},"videoformat":[],)"
                                        R"("videoresstatus":"1","videoresstatus":"2",)"
                                        R"("hdcpstatus":"","more":"x"})")},
            .answer = answerText(name, "success",
                                 R"(,"rxparamsinfo":[{"alias":")" + longText.substr(0, 31) +
                                     R"(","deviceid":"rx01","luma":"","contrast":"","hue":"",)"
                                     R"("saturation":"","videoformat":"","videoresstatus":"1",)"
                                     R"("hdcpstatus":""}])")});
}

}  // namespace
