#pragma once

#include <map>
#include <string>
#include <vector>

namespace Live {

/// What happened to read files since the last look. For each kind of event, the first few files are named and the
/// others are counted, because thousands of files may be moved or removed at once.
class Notices {
public:
    enum class Event { beside, changed, renamed, other_form, disappeared, disappeared_unaligned };

    /// `text`: the line to print if the file is named.
    void Add(Event event, const std::string& text);

    std::vector<std::string> Texts() const;

private:
    std::map<Event, std::vector<std::string>> texts;
};

}  // namespace Live
