#include "TaskAssignment.h"
