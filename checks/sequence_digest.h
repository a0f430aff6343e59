#pragma once

#include <string>
#include <string_view>

namespace Checks {

/// Eight bytes that stand for a sequence; U counts as T, as the aligner writes it.
std::string DigestOf(std::string_view sequence);

/// Replaces the sequence by that of the other strand. Other letters than A, C, G and T become any others, and two
/// different texts never become the same one.
void ReverseComplement(std::string& sequence);

}  // namespace Checks
