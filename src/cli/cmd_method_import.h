// import method FILE --entry mnu… [--rename NEW] [--yes]: a geophysical method file into the work
// area, as the menu entry of that name imports it (datatools/method_import.h).
#pragma once

#include "cli/cli.h"

namespace sarnoth::cli {

// A name clash is answered Yes with --yes/--overwrite, No with --rename NEW (the new name, to
// which the entry's rename suffix is added as the picker adds it), and Cancel otherwise.
int runMethodImport(Args& a);

}  // namespace sarnoth::cli
