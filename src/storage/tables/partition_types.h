// The type codes of partitions.
#pragma once

#include <cstdint>
#include <string>

// Returns true for the type codes of partitions with content.
bool is_known_type(std::uint8_t type);

// Returns the name of a partition type in the list of volumes, or "unk". " [guess]" is appended
// with bit 0x8000.
std::string partition_type_name(std::uint16_t type);
