#include "Xml.h"
