#include "DayEntry.h"
