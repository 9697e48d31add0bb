#ifndef ZOR_DIAGNOSTICS_BUILD_ID_H
#define ZOR_DIAGNOSTICS_BUILD_ID_H

namespace mu
{

/// A version that also says which build the running program is: a "+" and the build id that the
/// linker gave it (--build-id), as in "0.1.0+8167aa935404ae24f75c57290a8be0480706010d". Just the
/// version if the program has no build id. For SetPosixExceptionHandler(): scripts/zor-report then
/// knows the symbols that fit.
///
/// The text stays as long as the process. To be called before threads start, with a version of at
/// most 60 characters; a longer one is cut.
const char* GetVersionWithBuildID(const char* szVersion);

} // namespace mu

#endif
