#include "Task.h"
