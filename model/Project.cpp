#include "Project.h"
