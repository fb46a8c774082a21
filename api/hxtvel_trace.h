/*
 * hxtvel_trace.h - the process-wide trace log.
 *
 * Tracing is off by default. trace_level() switches it on:
 *   low nibble  = outputs (1 standard output, 2 the log file, 3 both, 0 off)
 *   high nibble = least level written (0x00 all, 0x10 Info and above,
 *                 0x30 Error and above ...)
 * Levels: 0 "Debug:", 16 "Info:", 32 "Warn:", 48 "Error:", 64 "Fatal:".
 *
 * A message is announced in three calls: trace_set_olevel(level),
 * trace_pos(__FILE__, __LINE__, 0), trace_msg(format, ...). Each written line
 * reads  [HHMMSS.uuuuuu pPPPPP t:thread name][Word:text][file line]
 * The log file is "tracelog.txt" in the working directory, or
 * /tmp/<name>_tracelog.txt after trace_proc_name(name).
 *
 * The trace settings are process-wide and not guarded by a lock.
 */
#ifndef HXTVEL_TRACE_H
#define HXTVEL_TRACE_H

#include "hxtvel_types.h"

HXTVEL_EXTERN_C_BEGIN

/* Sets outputs (level & 0x0F) and threshold (level & 0xF0); returns the outputs. */
HXTVEL_API uint32_t trace_level(uint32_t level);
/* Sets the process name (at most 63 characters) and the log path
 * /tmp/<name>_tracelog.txt; returns the length of the new path. */
HXTVEL_API int trace_proc_name(const char *name);
/* Deletes the log file; 0 on success, -1 on failure. */
HXTVEL_API int trace_remove(void);
/* Level of the next message. */
HXTVEL_API void trace_set_olevel(int32_t level);
/* Source position of the next message; type 1 adds the system error text. */
HXTVEL_API void trace_pos(const char *file, uint32_t line, uint32_t type);
/* Formats and writes one message if its level passes the threshold. */
HXTVEL_API int trace_msg(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

HXTVEL_EXTERN_C_END

#endif /* HXTVEL_TRACE_H */
