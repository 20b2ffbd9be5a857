// The automation types for systems that do not bring them, under the platform's names and with its semantics, so that
// the model and its clients are the same source everywhere.
#pragma once

#include "lumvex/native/guid.hpp"
#include "lumvex/native/interfaces.hpp"
#include "lumvex/native/status.hpp"
#include "lumvex/native/types.hpp"
#include "lumvex/native/variant.hpp"
