// Every command that talks to devices by datagram, with what it says when its request is not sent:
// because requests are skipped, or because the request fails.
#pragma once

#include <string>
#include <string_view>

namespace families {

struct Command {
    std::string_view line{};
    /// Printed before the request; and the request itself where it is printed.
    std::string_view printedBefore{};
    std::string_view tracedRequest{};
    /// The "cmd" of the success answer, and the answer's data when no device was asked.
    std::string_view name{};
    std::string_view emptyData{};
    /// Printed behind a request that was skipped.
    std::string_view printedBehind{};
    /// The error line, and the "cmd" of the failure answer.
    std::string_view errorLine{};
    std::string_view failureName{};
    /// How long each wait for the reply is, in milliseconds; 0 where none is waited for.
    int waitMs = 0;
};

inline constexpr Command kCommands[] = {
    {.line = "config set device alias tx01 Meeting room!",
     .name = "config set device alias",
     .errorLine = "Protocol_client_setAlias err!",
     .failureName = "config set device alias"},
    {.line = "config remove device alias tx01!",
     .name = "config remove device alias",
     .errorLine = "Protocol_client_removeAlias err!",
     .failureName = "config remove device alias"},
    {.line = "config get tx params tx01!",
     .name = "config get tx params",
     .emptyData = R"(,"txparamsinfo":[{"alias":"","deviceid":"","enctype":"","encres":"",)"
                  R"("fps":"","ratecontrol":"","bitrate":"","audioinput":"","audiocodec":"",)"
                  R"("audiofreq":"","audiobitrate":"","videoresstatus":"","hdcpstatus":""}])",
     .errorLine = "Protocol_client_getEncodeParams err!",
     .failureName = "config get tx params",
     .waitMs = 3000},
    {.line = "config set tx params tx01 H264 1080p 30 CBR 4000 hdmi aac 48000 128!",
     .name = "config set tx params",
     .errorLine = "Protocol_client_setEncodeParams err!",
     .failureName = "config set tx params"},
    {.line = "config get rx params rx01!",
     .name = "config get rx params",
     .emptyData = R"(,"rxparamsinfo":[{"alias":"","deviceid":"","luma":"","contrast":"",)"
                  R"("hue":"","saturation":"","videoformat":"","videoresstatus":"",)"
                  R"("hdcpstatus":""}])",
     .errorLine = "Protocol_client_getDecodeParams err!",
     .failureName = "config get rx params",
     .waitMs = 3000},
    {.line = "config set rx params rx01 50 50 50 50 1!",
     .name = "config set tx params",
     .errorLine = "Protocol_client_setDecodeParams err!",
     .failureName = "config set rx params"},
    {.line = "config get rx edid rx01!",
     .name = "config get rx edid",
     .emptyData = R"(,"rxedid":[{"deviceid":"rx01","edid":""}])",
     .errorLine = "Protocol_client_getDecodeEdid err!",
     .failureName = "config get rx edid",
     .waitMs = 5000},
    {.line = "config set tx edid tx01 00FF00!",
     .name = "config set tx edid",
     .errorLine = "Protocol_client_setEncodeEdid err!",
     .failureName = "config set tx edid"},
    {.line = "config set all edid 00FF00!",
     .name = "config set all edid",
     .errorLine = "Protocol_client_setEncodeEdid err!",
     .failureName = "config set all edid"},
    {.line = "config get net params tx01!",
     .name = "config get net params",
     .emptyData = R"(,"netparamsinfo":[{"deviceid":"tx01","hdcpserver":"","static":"",)"
                  R"("devaddr":"","devnetmask":"","devgateway":"","devmac":""}])",
     .errorLine = "Protocol_client_getDecodeParams err!",
     .failureName = "config set net params",
     .waitMs = 3000},
    {.line = "config set net params tx01 1 1 10.0.0.9 255.0.0.0 10.0.0.254!",
     .name = "config set net params",
     .errorLine = "Protocol_client_setNetParams err!",
     .failureName = "config set net params"},
    {.line = "matrix get rx01!",
     .name = "matrix get",
     .emptyData = R"(,"rxsource":[{"rxid":"rx01","txid":""}])",
     .printedBehind = "Encoderid \n",
     .errorLine = "Protocol_client_matrix_getDecode err!",
     .failureName = "matrix get",
     .waitMs = 3000},
    {.line = "matrix all set tx01!",
     .printedBefore = "Encoderid tx01\n",
     .name = "matrix all set",
     .errorLine = "Protocol_client_matrix_setDecode err!",
     .failureName = "matrix all set"},
    {.line = "matrix set tx01 rx01!",
     .name = "matrix sets",
     .errorLine = "Protocol_client_matrix_setDecode err!",
     .failureName = "matrix set"},
    {.line = "matrix clear rx01!",
     .printedBefore = "deviceid rx01\n",
     .tracedRequest = R"({"request":{"cmd":"matrix clear","hostid":"001122aabbcc",)"
                      R"("device":[{"id":"rx01"}]}})"
                      "\n",
     .name = "matrix clear",
     .errorLine = "Protocol_client_matrix_clearDecode err!",
     .failureName = "matrix clear"},
    {.line = "serial get params tx01!",
     .tracedRequest = R"({"request":{"cmd":"serial get params","hostid":"001122aabbcc",)"
                      R"("device":[{"id":"tx01"}]}})"
                      "\n",
     .name = "serial get params",
     .emptyData = R"(,"serialparams":[{"deviceid":"tx01","baudrate":"","databits":"",)"
                  R"("parity":"","stopbits":""}])",
     .printedBehind = R"(out: {"ack":{"cmd":"serial get params","status":"success"},)"
                      R"("serialparams":[{"deviceid":"tx01","baudrate":"","databits":"",)"
                      R"("parity":"","stopbits":""}]})"
                      "\n",
     .errorLine = "Protocol_client_serial_getParams err!",
     .failureName = "serial get params",
     .waitMs = 3000},
    {.line = "serial set params tx01 9600 8 none 1!",
     .name = "serial set params",
     .errorLine = "Protocol_client_serial_setParams err!",
     .failureName = "serial set params"},
    {.line = "serial matrix get rx01!",
     .name = "serial matrix get",
     .emptyData = R"(,"serialsource":[{"rxid":"rx01","txid":""}])",
     .printedBehind = "Rxid \n",
     .errorLine = "Protocol_client_serial_matrixGet err!",
     .failureName = "serial matrix get",
     .waitMs = 3000},
    {.line = "serial matrix all set tx01!",
     .name = "serial matrix all set",
     .errorLine = "Protocol_client_serial_matrixSet err!",
     .failureName = "serial matrix all set"},
    {.line = "serial matrix set tx01 rx01!",
     .name = "serial matrix set",
     .errorLine = "Protocol_client_serial_matrixSet err!",
     .failureName = "serial matrix set"},
    {.line = "serial matrix all clear!",
     .name = "serial matrix all clear",
     .errorLine = "Protocol_client_serial_matrixClear err!",
     .failureName = "serial matrix clear"},
    {.line = "serial matrix clear rx01!",
     .printedBefore = "deviceid rx01\n",
     .name = "serial matrix clear",
     .errorLine = "Protocol_client_serial_matrixClear err!",
     .failureName = "serial matrix clear"},
    {.line = "serial data tx01 48656C6C6F!",
     .name = "serial data",
     .errorLine = "Protocol_client_serial_sendData err!",
     .failureName = "serial data"},
    {.line = "ir matrix get rx01!",
     .name = "ir matrix get",
     .emptyData = R"(,"irsource":[{"rxid":"rx01","txid":""}])",
     .printedBehind = "Rxid \n",
     .errorLine = "Protocol_client_ir_matrixGet err!",
     .failureName = "ir matrix get",
     .waitMs = 3000},
    {.line = "ir matrix set tx01 rx01!",
     .name = "ir matrix set",
     .errorLine = "Protocol_client_ir_matrixSet err!",
     .failureName = "ir matrix set"},
    {.line = "ir matrix clear rx01!",
     .printedBefore = "deviceid rx01\n",
     .name = "ir matrix clear",
     .errorLine = "Protocol_client_setAlias err!",
     .failureName = "ir matrix clear"},
    {.line = "vw set 3840 2160 0 0 2 1 0 0 tx01 rx01!",
     .printedBefore = "wigth 3840\nheight 2160\nhorcut 0\nvercut 0\nrow 1\ncolumn 2\nx 0\ny 0\n"
                      "txid tx01\ndeviceid rx01\n",
     .name = "vw set",
     .errorLine = "Protocol_client_vw_set err!",
     .failureName = "vw set"},
    {.line = "vw remove rx01!",
     .name = "vw remove",
     .errorLine = "Protocol_client_vw_remove err!",
     .failureName = "vw remove"},
    {.line = "device showme rx01!",
     .name = "device showme",
     .errorLine = "Protocol_client_device_showme err!",
     .failureName = "device showme"},
    {.line = "device all reboot!",
     .name = "device all reboot",
     .errorLine = "Protocol_client_device_showme err!",
     .failureName = "device all reboot"},
    {.line = "device reboot rx01!",
     .name = "device reboot",
     .errorLine = "Protocol_client_device_showme err!",
     .failureName = "device reboot"},
    {.line = "device factory rx01!",
     .tracedRequest = R"({"request":{"cmd":"device factory","hostid":"001122aabbcc",)"
                      R"("device":[{"id":"rx01"}]}})"
                      "\n",
     .name = "device factory",
     .errorLine = "Protocol_client_device_factory err!",
     .failureName = "device factory"},
};

inline std::string answerText(std::string_view cmd, std::string_view status,
                              std::string_view data = "") {
    std::string text = R"({"ack":{"cmd":")";
    text.append(cmd).append(R"(","status":")").append(status).append("\"}").append(data);
    return text + "}";
}

/// Answers without data.
inline std::string success(std::string_view cmd) {
    return answerText(cmd, "success");
}
inline std::string failure(std::string_view cmd) {
    return answerText(cmd, "failure");
}

/// The request that "device showme" sends for a device.
inline std::string showmeRequest(std::string_view id) {
    std::string text = R"({"request":{"cmd":"device showme","hostid":"001122aabbcc",)"
                       R"("device":[{"id":")";
    return text.append(id) + R"("}]}})";
}

}  // namespace families
