// Changes of a catalogue file that no call of the library makes, under the lock that the library
// takes too.
#pragma once

#include <functional>
#include <string>

#include <xercesc/dom/DOM.hpp>

#include "check/KeptCopies.h"

/// Runs `work` while no other process changes the catalogue. Throws Failure when another one keeps
/// it locked, or when the journal of a half-done save is damaged.
void underLock(const std::string& folder, const std::function<void()>& work);

/// Hands the document of the catalogue file `name` to `change`, under the lock, and replaces the
/// file, with a kept copy of it, when that returns true. A file that does not exist begins with an
/// empty root of the name `emptyRoot`. Throws Failure.
void mendFile(const std::string& folder, const std::string& name, const XMLCh* emptyRoot,
              KeptCopies& copies, const std::function<bool(xercesc::DOMDocument&)>& change);
