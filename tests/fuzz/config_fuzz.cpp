// Parses the input as a configuration file. Parse must never throw: it collects errors in `error_text`.

#include <array>
#include <sstream>

#include "common/parameters.h"

namespace {

class SomeParameters : public Common::Parameters {
public:
    void DeclareOptions() override {
        AddOption("count,t", "", &count, Common::OptionFlags::ConfigFile);
        AddOption("ratio", "", &ratio, Common::OptionFlags::ConfigFile);
        AddOption("name", "", &name, Common::OptionFlags::Required);
        AddOption("on", "", &on, Common::OptionFlags::ConfigFile);
        AddIgnoredOption("theirs");
    }
    bool ValidateParams() override { return true; }
    using Parameters::Parse;

private:
    int count = 0;
    float ratio = 0;
    std::string name;
    bool on = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
    char program[] = "program";
    std::array<char*, 1> arguments = {program};
    SomeParameters().Parse(&stream, "", 1, arguments.data(), "");
    return 0;
}
