#pragma once
#include "catalogue/Catalogue.h"
