#include "dispatch/dispatch.hpp"

#include "base/fixed_text.hpp"
#include "base/output.hpp"
#include "base/utf8.hpp"
#include "dispatch/command_table.hpp"
#include "kit/answer.hpp"

int Command_dispatch(int socket, const char* line, char* answer) {
    Output_print("pBuffData %s\n", line);
    const CommandRow* row = CommandTable_find(line);
    if (row != nullptr && row->function != nullptr && row->function(socket, line, &answer) >= 0) {
        return 0;
    }
    // An unknown line comes back whole, as far as the name's room goes.
    constexpr std::size_t kNameMax = 127;
    FixedText<kNameMax + 1> name;
    name.set(Utf8_prefix(row != nullptr ? row->reportedName : line, kNameMax));
    Answer_store(Answer_failure(name.c_str()), answer);
    return 0;
}
