#ifndef ZOR_CONSOLE_DESCRIPTORS_H
#define ZOR_CONSOLE_DESCRIPTORS_H

/// Opens /dev/null for standard descriptors that are closed, so that no pipe takes their place.
void OpenStandardDescriptors();

/// Closes a descriptor, unless it is -1, and makes it -1.
void CloseDescriptor(int& iDescriptor);

/// Moves a descriptor to a number that select() can hold and returns the new number, -1 with the
/// descriptor closed if the system refuses. A program may inherit so many descriptors that those it
/// opens lie beyond: then one of the inherited ones, never iKept, gives way.
int MoveIntoSelectRange(int iDescriptor, int iKept);

/// Whether nobody can read any more what is written to the descriptor: the other end of the pipe,
/// socket or terminal is gone. Of a network connection only a write finds out.
bool HasLostItsReader(int iDescriptor);

#endif
