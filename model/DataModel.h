#pragma once

#include "store/Coordinator.h"
#include "store/Model.h"

#include <string>
#include <unordered_map>

namespace model {

/// The description of the entities that is built into the program (`QuillonDataModel.json`).
store::Model loadModel();

/// The class of every entity, for the coordinator.
std::unordered_map<std::string, store::ObjectFactory> objectFactories();

} // namespace model
