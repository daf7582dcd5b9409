# Makes a source file that holds files: cmake -DFROM=FOLDER -DTO=FILE -DGZIP=PROGRAM
# -DFILES=LIST -P embed.cmake
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")

# The bytes of a file as a literal: string_view("\x..", SIZE).
function(literal path result)
    file(READ "${path}" bytes HEX)
    file(SIZE "${path}" size)
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
    set(${result} "{\"${bytes}\", ${size}}" PARENT_SCOPE)
endfunction()

set(rows "")
foreach(file IN LISTS FILES)
    execute_process(COMMAND "${GZIP}" -9 -n -c "${FROM}/${file}" OUTPUT_FILE "${TO}.gz"
                    COMMAND_ERROR_IS_FATAL ANY)
    literal("${FROM}/${file}" plain)
    literal("${TO}.gz" packed)
    file(SHA256 "${FROM}/${file}" hash)
    string(SUBSTRING "${hash}" 0 16 hash)
    string(REGEX MATCH "[a-z]+$" suffix "${file}")
    string(APPEND rows "    {\"${file}\", \"${type_${suffix}}\", \"${hash}\",\n"
                       "     ${plain},\n     ${packed}},\n")
endforeach()
file(REMOVE "${TO}.gz")
file(WRITE "${TO}" "#include \"gateway/panel/panel.hpp\"

namespace avoip::gw {
namespace {

constexpr PanelFile kFiles[] = {
${rows}};

}  // namespace

std::span<const PanelFile> Panel_files() {
    return kFiles;
}

}  // namespace avoip::gw
")
