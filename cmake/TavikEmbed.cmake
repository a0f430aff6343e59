# Run by "cmake -P": writes a C++ source file that defines the std::string_view NAME with the contents of all FILES.
#   -D OUTPUT=... -D HEADER=... -D NAMESPACE=... -D NAME=... -D FILES=a,b
set(bytes "")
string(REPLACE "," ";" FILES "${FILES}")
foreach(file IN LISTS FILES)
  file(READ "${file}" hex HEX)
  string(APPEND bytes "${hex}")
endforeach()
# The bytes become character literals, 16 on each line.
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
