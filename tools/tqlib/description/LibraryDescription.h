// A library as data: its identity, the hosts that see it, its drives and its elements. Options, a
// JSON file and the catalogue are three sources of one description.
#pragma once

#include <vector>

#include "catalogue/CatalogueCommands.h"
#include "catalogue/Devices.h"

struct LibraryDescription {
  LibraryDescription();

  SCSIUnitFields library;  ///< identity, and the ranges as the library announces them
  std::vector<SCSIUnitFields> hosts;
  std::vector<Device> drives;        ///< the address of one may be kUnplaced
  std::vector<LibElement> elements;  ///< the drives first, in their order
};

/// Throws Failure when a library cannot have such a range, or when two ranges overlap.
void checkRanges(const SCSIUnitFields& library);

/// The drives and the slots of the ranges, all empty. Call checkRanges() first.
std::vector<LibElement> usualElements(const LibraryDescription& description);

/// The slots of the ranges that the library lacks, or has behind later ones.
std::vector<LibElement> gapsOf(const LibraryDescription& description);

/// Throws Failure, with the place in the description, when no library can be created from it.
void checkDescription(const LibraryDescription& description);

/// "40 slots, 1 mail slot"
std::string sizeText(const SCSIUnitFields& library);

/// Reads and checks a description. Throws Failure, with the place in it.
LibraryDescription readDescription(const Json& values);

Json descriptionJson(const LibraryDescription& description);

/// A description without drives and elements.
Json libraryJson(const SCSIUnitFields& library, const std::vector<SCSIUnitFields>& hosts);

/// The group "library": this room's commands create and export, and those of the catalogue.
void addLibraryGroup(CLI::App& app, Session& session);

/// The commands edit and resize, in groups that exist already.
void addChangeCommands(CLI::App& app, Session& session);
