#include "common/fastq_record.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "common/logging/record.h"

namespace Common {

namespace {

// Returns 0 for A, C, G, T and U. Compilers vectorise XOR distances, but not a chain of comparisons.
unsigned char NoBase(char c) {
    const auto distance = [c](char base) { return static_cast<unsigned char>(c ^ base); };
    return std::min(std::min(std::min(distance('A'), distance('C')), std::min(distance('G'), distance('T'))),
                    distance('U'));
}

// Returns 0 for a valid quality character.
unsigned char NoQuality(char c) {
    return static_cast<unsigned char>(c < 33 || c > 126);
}

// True if `kFault` is 0 for each character. The loop has no early exit, so the compiler can vectorise it.
template <unsigned char (*kFault)(char)>
bool HasNo(const std::string& text) {
    unsigned char faults = 0;
    for (const char c : text) {
        faults = static_cast<unsigned char>(faults | kFault(c));
    }
    return faults == 0;
}

}  // namespace

FastQRecord::FastQRecord(const std::string& title, const std::string& sequence, const std::string& qstring)
    : title(title), sequence(sequence), qstring(qstring) {
    if (!title.empty() && !sequence.empty() && !qstring.empty()) {
        Validate();
    }
}

void FastQRecord::Assign(const std::string& new_title, const std::string& new_sequence,
                         const std::string& new_qstring) {
    title = new_title;
    sequence = new_sequence;
    qstring = new_qstring;
    Validate();
}

void FastQRecord::Validate() const {
    if (sequence.size() != qstring.size()) {
        throw std::runtime_error("Sequence is not the same length as the qstring\n" + Describe());
    }
    ValidateSequence();
    if (!HasNo<NoQuality>(qstring)) {
        // Tools match the exact text of this message, so it has no position and no record text.
        const char bad = *std::find_if(qstring.begin(), qstring.end(), NoQuality);
        throw std::runtime_error(std::string("Unsupported character in the Qstring: ") + bad);
    }
}

void FastQRecord::ValidateSequence() const {
    if (HasNo<NoBase>(sequence)) {
        return;
    }
    const auto bad = std::find_if(sequence.begin(), sequence.end(), NoBase);
    throw std::runtime_error(std::string("Sequence contained an unexpected character '") + *bad + "' at position " +
                             std::to_string(bad - sequence.begin()) + "\n" + Describe());
}

std::string FastQRecord::Describe() const {
    return "Header: " + title + "\nSequence: " + sequence + "\nQstring: " + qstring;
}

std::string FastQRecord::ToString() const {
    std::ostringstream text;
    text << *this << '\n';
    return text.str();
}

std::string FastQRecord::GetReadId() const {
    if (title.empty()) {
        throw std::runtime_error("Cannot get the read ID from an empty FastQ record.");
    }
    if (title.size() == 1) {
        TAVIK_LOG(error) << "Read title '" << title << "' does not have any space. Continuing with next read.";
        return kInvalidReadId;
    }
    try {
        const auto blank = title.find(' ', 1);
        return title.substr(1, blank == std::string::npos ? blank : blank - 1);
    } catch (...) {  // Every exception has the same consequence: the caller continues with the next read.
        TAVIK_LOG(error) << "Could not extract read id from fastq title. Continuing with next read.";
        return kInvalidReadId;
    }
}

std::string FastQRecord::GetRunId() const {
    if (title.empty()) {
        throw std::runtime_error("Cannot get the run ID from an empty FastQ record.");
    }
    try {
        static constexpr std::string_view kKey = "runid=";
        const auto key = title.find(kKey, 1);
        if (key == std::string::npos) {
            TAVIK_LOG(error) << "Could not find 'runid=' in the title: " << title;
            return kInvalidRunId;
        }
        const auto begin = key + kKey.size();
        const auto blank = title.find(' ', key);
        return title.substr(begin, blank == std::string::npos ? blank : blank - begin);
    } catch (...) {
        TAVIK_LOG(error) << "Could not extract run id from fastq title. Continuing with next read.";
        return kInvalidRunId;
    }
}

void FastQRecord::AppendTitleField(std::string& title, const std::string& key, const std::string& value) {
    title.append(" ").append(key).append("=").append(value);
}

std::string FastQRecord::ComposeTitle(const ValueMap& attributes) {
    // All six are looked up before use, because the error must name the first missing key in this order.
    const auto& read_id = attributes.Get<std::string>("read_id");
    const auto& run_id = attributes.Get<std::string>("run_id");
    const auto& sample_id = attributes.Get<std::string>("sample_id");
    const auto& time_stamp = attributes.Get<std::string>("time_stamp");
    const auto read_number = attributes.Get<std::int32_t>("read_number");
    const auto channel = attributes.Get<std::int32_t>("channel");

    std::string title = "@" + read_id;
    AppendTitleField(title, "runid", run_id);
    AppendTitleField(title, "sampleid", sample_id);
    AppendTitleField(title, "read", std::to_string(read_number));
    AppendTitleField(title, "ch", std::to_string(channel));
    AppendTitleField(title, "start_time", time_stamp);
    return title;
}

std::ostream& operator<<(std::ostream& stream, const FastQRecord& record) {
    stream << record.GetTitle() << '\n' << record.GetSequence();
    if (!record.IsFasta()) {
        stream << "\n+\n" << record.GetQString();
    }
    return stream;
}

}  // namespace Common
