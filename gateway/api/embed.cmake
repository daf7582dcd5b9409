# Makes a source file that holds a text: cmake -DFROM=FILE -DTO=FILE -DNAME=CONSTANT -P embed.cmake
file(READ "${FROM}" text)
file(WRITE "${TO}" "#include <string_view>

namespace avoip::gw {
extern const std::string_view ${NAME};
const std::string_view ${NAME} = R\"embedded(${text})embedded\";
}  // namespace avoip::gw
")
