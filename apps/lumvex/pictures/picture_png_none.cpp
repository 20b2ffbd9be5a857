#include <stdexcept>

#include "pictures/picture.hpp"

namespace lumvex::app {

std::string PngBytes(const Picture&, double) {
    throw std::runtime_error("this build of the tool draws no PNG; .svg makes a picture that every browser shows");
}

}  // namespace lumvex::app
