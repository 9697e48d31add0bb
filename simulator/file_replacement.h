#ifndef ZOR_SIMULATOR_FILE_REPLACEMENT_H
#define ZOR_SIMULATOR_FILE_REPLACEMENT_H

#include <string>
#include <string_view>

/// Gives a file new contents, or makes it, so that whoever stops this half-way finds either the old
/// contents or the new ones: they are written to a file beside it, which then takes its name. Both
/// the contents and the name are on the disk when it returns.
///
/// The file keeps its mode, owner and group; one that is made gets mode 0600. A symbolic link stays
/// one, and what it leads to is replaced or made. Another hard link to the file keeps the old
/// contents. Access control lists and extended attributes are not kept. Refused, with nothing
/// changed: what is no regular file, one that this process may not write, and one whose owner it
/// cannot give to the new file.
///
/// Returns what stands in the way, empty on success.
std::string ReplaceFile(const std::string& strPath, std::string_view svContents);

#endif
