// The command-line tools of the store, also device programs of the virtual extender.
#pragma once

namespace kd::store {

// nvram_set SECTION KEY VALUE: stores and commits one value.
//   returns  exit status: 0, 1 when it could not be stored, 2 for wrong arguments
int nvram_set_main(int argc, char** argv);

// nvram_get SECTION KEY: prints the value and a line end.
//   returns  exit status: 0, 1 when the key is absent or the store cannot be read, 2 for wrong arguments
int nvram_get_main(int argc, char** argv);

}  // namespace kd::store
