#pragma once

#include "store/Coordinator.h"
#include "store/Model.h"

#include <string>
#include <unordered_map>

namespace store {
struct ChangeSet;
}

namespace model {

/// The built-in description of the entities (`QuillonDataModel.json`).
store::Model loadModel();

/// The class of every entity, for the coordinator.
std::unordered_map<std::string, store::ObjectFactory> objectFactories();

/// Whether the available choices changed: clients, projects, tasks, users and their assignments.
bool touchesCatalog(const store::ChangeSet& changes, const store::Model& model);

} // namespace model
