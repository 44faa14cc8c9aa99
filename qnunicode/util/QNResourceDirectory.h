#pragma once

#include <string>

// The directory of the library's own resources, which holds the stringprep profiles ("nameprep"
// among them). The default is fixed at build time: the installed resource directory when it
// holds the profiles, else the resources of the source tree the library was built from. A host may
// set another before the first use of a resource; the library reads no environment variable.
std::string QNUnicodeResourceDirectory();
// An empty path restores the default. Resources already loaded (such as the shared nameprep
// processor) are kept.
void QNUnicodeSetResourceDirectory(std::string directory);
// The default described above.
std::string QNUnicodeDefaultResourceDirectory();
