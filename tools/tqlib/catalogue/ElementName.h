// How an element is written on the command line: "slot:1000", "mail:10", "drive:500", "shelf:1".
#pragma once

#include <string>

#include "TqLibEmulator.h"

/// How an element is written, for people.
inline constexpr char kElementForms[] = "slot:N, mail:N, drive:N or shelf:N";

/// An element named by type and address, empty and without barcode. Throws UsageError when `name`
/// is not a type and an address.
LibElement parseElementName(const std::string& name);

/// The word for an element type; "unknown" for a code that is none.
std::string elementTypeWord(int type);

std::string elementName(const LibElement& element);

/// Whether it is a storage slot or a mail slot: these share their addresses.
bool isSlot(const LibElement& element);
