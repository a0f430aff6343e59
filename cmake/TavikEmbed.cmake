# Run by "cmake -P": writes a C++ source that defines a text, which is that of some files one behind the other.
#   -D OUTPUT=... -D HEADER=... -D NAMESPACE=... -D NAME=... -D FILES=a,b
set(bytes "")
string(REPLACE "," ";" FILES "${FILES}")
foreach(file IN LISTS FILES)
  file(READ "${file}" hex HEX)
  string(APPEND bytes "${hex}")
endforeach()
# A line feed for every 16 bytes, then the bytes.
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
