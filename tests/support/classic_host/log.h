#include "base.h"
