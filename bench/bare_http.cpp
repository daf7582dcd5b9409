// The bare floor of the gateway's answers: libmicrohttpd as it comes, with a thread for each
// connection, which answers every request with the bytes of one file.
//
//   bare_http PORT FILE
#include <microhttpd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

MHD_Result answer(void* closure, MHD_Connection* connection, const char* /*url*/,
                  const char* /*method*/, const char* /*version*/, const char* /*part*/,
                  std::size_t* /*size*/, void** context) {
    if (*context == nullptr) {
        // The library keeps the connection open when the answer comes with the second call.
        *context = closure;
        return MHD_YES;
    }
    auto& text = *static_cast<std::string*>(closure);
    MHD_Response* const response =
        MHD_create_response_from_buffer(text.size(), text.data(), MHD_RESPMEM_PERSISTENT);
    MHD_add_response_header(response, "Content-Type", "application/json");
    const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
    MHD_destroy_response(response);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: bare_http PORT FILE\n";
        return 2;
    }
    std::ifstream file(argv[2], std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto port = static_cast<std::uint16_t>(std::atoi(argv[1]));
    const unsigned flags =
        MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL;
    if (MHD_start_daemon(flags, port, nullptr, nullptr, answer, &text, MHD_OPTION_END) == nullptr) {
        std::cerr << "bare_http: cannot listen on port " << port << "\n";
        return 1;
    }
    ::pause();
}
