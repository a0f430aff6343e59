#pragma once

#include <map>
#include <string>
#include <vector>

namespace Live {

/// Notices of what has happened to read files, collected during one look at the folder or while the files of one round
/// are chosen. For each kind of event, the first few files are named and the others are counted, because thousands of
/// files may be moved or removed at once.
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
