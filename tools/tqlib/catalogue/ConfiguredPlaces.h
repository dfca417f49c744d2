#pragma once
#include "catalogue/Configuration.h"
