// Everything that a generated model, a hand-written model or a user's bench compiles against.
//
// The library drives one model per process, on one thread, and takes no lock. It may start two
// threads of its own (qk_trace_thread() forbids them): one writes the trace file, one expands a
// compressed reference trace of more than 8 MiB ahead of its use. They touch nothing of the model
// and handle no signals, and each ends with its file. Plain functions and data words have C
// linkage. The headers need C++11 and nothing but the standard library.
#ifndef QKZEFT_H
#define QKZEFT_H

#include "qkzeft_api.h"
#include "qkzeft_arrays.h"
#include "qkzeft_console.h"
#include "qkzeft_coverage.h"
#include "qkzeft_licence.h"
#include "qkzeft_memimage.h"
#include "qkzeft_memory.h"
#include "qkzeft_module.h"
#include "qkzeft_random.h"
#include "qkzeft_registration.h"
#include "qkzeft_run.h"
#include "qkzeft_systasks.h"
#include "qkzeft_textio.h"
#include "qkzeft_validate.h"
#include "qkzeft_value_list.h"
#include "qkzeft_variable.h"
#include "qkzeft_wide.h"

#endif
