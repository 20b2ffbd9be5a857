// An object with one of the platform's interfaces (a class object, an enumerator) that keeps the module loaded while it
// is held.
#pragma once

#include "automation/counted.hpp"
#include "core/base/module.hpp"

namespace lumvex::inside {

template <class Interface>
class ModuleObject : public Counted<Interface> {
    LiveObject alive_;
};

}  // namespace lumvex::inside
