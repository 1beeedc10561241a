#pragma once

#include "store/Coordinator.h"
#include "store/Model.h"

#include <string>
#include <unordered_map>

namespace store {
struct ChangeSet;
}

namespace model {

/// The description of the entities that is built into the program (`QuillonDataModel.json`).
store::Model loadModel();

/// The class of every entity, for the coordinator.
std::unordered_map<std::string, store::ObjectFactory> objectFactories();

/// Whether what is offered for choosing changed: clients, projects, tasks, users and who is assigned to what.
bool touchesCatalog(const store::ChangeSet& changes, const store::Model& model);

} // namespace model
