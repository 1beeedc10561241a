#include "QuillonObject.h"
