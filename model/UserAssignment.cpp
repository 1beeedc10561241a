#include "UserAssignment.h"
