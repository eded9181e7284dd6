/* libanvil: every public family in one include. */
#ifndef ANVIL_H
#define ANVIL_H

/* First, so that it comes before any <stdlib.h>: see its note on bsearch. */
#include "anvil/sort.h"

#include "anvil/io.h"
#include "anvil/recvstr.h"
#include "anvil/unsock.h"
#include "anvil/lsystem.h"
#include "anvil/array_stream.h"
#include "anvil/ring_buffer.h"
#include "anvil/hash.h"
#include "anvil/mutex.h"
#include "anvil/time_arith.h"
#include "anvil/dlist.h"
#include "anvil/c_queue.h"
#include "anvil/string_builder.h"
#include "anvil/bitmap.h"
#include "anvil/text.h"
#include "anvil/ini.h"
#include "anvil/file.h"
#include "anvil/path.h"
#include "anvil/dir.h"
#include "anvil/process.h"
#include "anvil/pidfile.h"
#include "anvil/file_log.h"
#include "anvil/iov.h"
#include "anvil/vectored_io.h"
#include "anvil/timed_io.h"
#include "anvil/fd_passing.h"

#endif
