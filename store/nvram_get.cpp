#include "nvram_tools.hpp"

int main(int argc, char** argv) {
  return kd::store::nvram_get_main(argc, argv);
}
