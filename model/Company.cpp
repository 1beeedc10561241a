#include "Company.h"
