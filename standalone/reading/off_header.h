// What the head of an OFF file promises, held against the size of the file.
//
// The parser makes room for all elements that the head announces before it reads the first one, so that a file of a
// few bytes could take all memory of the machine.
#pragma once

#include <string>

namespace mirel::reading {

// Why the file cannot be what its head says; empty where it can, or where the head is not understood here.
std::string check_off_header(std::string const& path);

}  // namespace mirel::reading
