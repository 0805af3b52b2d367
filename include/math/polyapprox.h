#pragma once

#include <math/types.h>
