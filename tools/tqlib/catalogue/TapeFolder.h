#pragma once
#include "catalogue/VolumeFiles.h"
