// Changes of the library list that the API does not make: it enters or removes an entry only
// together with a library in its file.
#pragma once

#include <functional>
#include <string>

#include <xercesc/dom/DOM.hpp>

/// Appends an entry for the library of that key.
void addEntry(xercesc::DOMDocument& list, const std::string& key);

/// Removes the entries whose key `isUnwanted` accepts; it is called once for each entry, in order.
/// An entry that contains elements stays, because these may be entries as well. Returns whether
/// any entry was removed.
bool removeEntries(xercesc::DOMDocument& list,
                   const std::function<bool(const std::string&)>& isUnwanted);

/// Removes all entries of a library. Throws Failure.
void takeOffList(const std::string& library);

/// Removes all entries of a library, then its file. Throws Failure.
void purgeLibrary(const std::string& library);
