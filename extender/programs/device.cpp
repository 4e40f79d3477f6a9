// ralink_init, gpio and internet.sh.
#include <cstdio>
#include <cstring>

#include "programs/programs.hpp"
#include "radio/surroundings.hpp"
#include "section_file.hpp"

namespace kd {

// Gives the driver the stored settings; it does not see a change of the store before the next call.
int ralink_init_main(int argc, char** argv) {
  if (argc < 3 || std::strcmp(argv[1], "make_wireless_config") != 0 || std::strcmp(argv[2], "rt2860") != 0) {
    std::fputs("usage: ralink_init make_wireless_config rt2860\n", stderr);
    return 1;
  }
  store::Table table;
  if (store::read_section(store::directory(), 0, table) != store::ReadStatus::ok ||
      !radio::save_driver_settings(table)) {
    std::fputs("ralink_init: the store cannot be read\n", stderr);
    return 1;
  }
  return 0;
}

// The lights of a virtual device are its journal of started programs.
int gpio_main(int, char**) {
  return 0;
}

int internet_sh_main(int, char**) {
  std::puts("internet.sh: network configuration reloaded");
  return 0;
}

}  // namespace kd
