#ifndef CONSUMER_SELF_TEST_H
#define CONSUMER_SELF_TEST_H

/// Whether the library works here; complains on standard error.
bool TestLibrary();

#endif
