#include "Client.h"
