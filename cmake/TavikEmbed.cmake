# Run by "cmake -P": writes a C++ source that defines a string, the concatenated contents of some files.
#   -D OUTPUT=... -D HEADER=... -D NAMESPACE=... -D NAME=... -D FILES=a,b
set(bytes "")
string(REPLACE "," ";" FILES "${FILES}")
foreach(file IN LISTS FILES)
  file(READ "${file}" hex HEX)
  string(APPEND bytes "${hex}")
endforeach()
# Breaks the line after every 16 bytes, then writes the bytes as characters.
string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
file(WRITE "${OUTPUT}" "#include \"${HEADER}\"

namespace ${NAMESPACE} {

namespace {
constexpr char kBytes[] = {
${bytes}};
}  // namespace

const std::string_view ${NAME}(kBytes, sizeof(kBytes));

}  // namespace ${NAMESPACE}
")
