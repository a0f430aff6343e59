#pragma once

#include <map>
#include <string>
#include <vector>

namespace Live {

/// What happened to read files since the last look. Of each kind of event, the first few files are named and the others
/// counted: a folder that is moved or emptied may hold thousands.
class Notices {
public:
    enum class Event { beside, changed, renamed, other_form, disappeared, disappeared_unaligned };

    /// `text`: what the user reads about this one file.
    void Add(Event event, const std::string& text);

    std::vector<std::string> Texts() const;

private:
    std::map<Event, std::vector<std::string>> texts;
};

}  // namespace Live
