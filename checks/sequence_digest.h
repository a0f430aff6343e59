#pragma once

#include <string>
#include <string_view>

namespace Checks {

/// An eight-byte digest of a sequence. U counts as T, because the aligner writes T for U.
std::string DigestOf(std::string_view sequence);

/// Replaces the sequence with its reverse complement. Characters other than A, C, G and T become arbitrary characters,
/// but different texts never become equal.
void ReverseComplement(std::string& sequence);

}  // namespace Checks
