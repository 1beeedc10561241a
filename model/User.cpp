#include "User.h"
