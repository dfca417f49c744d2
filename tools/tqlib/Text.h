// Checks of the text that an operator gives.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

/// Text that the catalogue can carry: not empty, UTF-8, no control character.
CLI::Validator catalogueText();

/// Text that can name a library or a volume: catalogue text that is one path component.
CLI::Validator nameText();
