#pragma once
// See PosixCalls.h.
