// How the lines of the application write an error.
#pragma once
#include "common/log/error_is.h"

/// Error is 2, 'No such file or directory'
inline ErrorIs RunErrorIs(int error) { return {error, ErrorForm::CommaQuoted}; }
