/* What a client needs to keep itself up to date with the help of "Vandrel Updater.exe": start it, poll it, answer it.
 * A C interface, for C11 and C++20 alike; docs/integrating.md tells what stands behind it.
 *
 *     vandrel_start_options options = {"main", NULL, 0, 0};
 *     vandrel_update *update = NULL;
 *     vandrel_status status;
 *     if (vandrel_start(&options, &update) != VANDREL_OK) return play();
 *     for (;; each_frame()) {
 *         if (!vandrel_poll(update, &status)) continue;
 *         if (status.state == VANDREL_UPDATE_AVAILABLE) ask_the_player_once();   -> vandrel_answer(update, ...)
 *         if (status.state == VANDREL_HANDOFF) save_and_quit();
 *         if (vandrel_is_last(status.state)) break;
 *     }
 *     vandrel_close(update);
 *
 * Texts are UTF-8 and end with a zero byte. What is passed in is copied, what is given out belongs to the library and
 * lives until vandrel_close of the update that gave it.
 *
 * Threads: there is no hidden state. One update is used by one thread at a time, two updates by any two. No thread is
 * made, nothing is called back, no C++ exception leaves a function. vandrel_start and vandrel_attach change the
 * process's environment: no other thread reads or changes it meanwhile.
 *
 * Failures: a vandrel_result that isn't VANDREL_OK; GetLastError() then gives the system's reason, or 0. */
#ifndef VANDREL_CLIENT_H
#define VANDREL_CLIENT_H

/* NOLINTBEGIN(modernize-deprecated-headers,modernize-use-using,readability-identifier-naming): it is C */
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One job: one run of the helper, from the client's side. */
typedef struct vandrel_update vandrel_update;

typedef enum vandrel_result {
    VANDREL_OK = 0,
    VANDREL_BAD_ARGUMENT = 1,      /* a null pointer, a profile that names no folder, an ill-formed job */
    VANDREL_WRONG_CLIENT_NAME = 2, /* this process runs neither brindler_dx_x64.exe nor brindler_gl_x64.exe */
    VANDREL_NO_HELPER = 3,         /* the helper could not be started; ERROR_FILE_NOT_FOUND: it isn't there */
    VANDREL_NO_PROFILE = 4,        /* the profile's folder could not be found or made */
    VANDREL_NO_COMMAND = 5,        /* the command could not be written; the earlier one, if any, stands. Try again */
    VANDREL_NO_JOB = 6,            /* no helper has started this process */
    VANDREL_FAILED = 7             /* memory or the system's random source gave out */
} vandrel_result;

typedef enum vandrel_state {
    VANDREL_STARTING = 0,         /* the helper hasn't said anything yet */
    VANDREL_CHECKING = 1,         /* show it; it lasts as long as it takes to hash the client's folder */
    VANDREL_UPDATE_AVAILABLE = 2, /* ask the player, once a job: the state comes twice */
    VANDREL_DOWNLOADING = 3,      /* show the progress */
    VANDREL_HANDOFF = 4,          /* close, within two minutes */
    /* The last states: the job is over. */
    VANDREL_CURRENT = 5,   /* nothing to do */
    VANDREL_CANCELLED = 6, /* nothing has changed */
    VANDREL_ERROR = 7,     /* the detail says why */
    VANDREL_DIED = 8,      /* every process of the helper has ended, and none wrote a last state */
    VANDREL_SILENT = 9     /* given up: nothing was heard for longer than vandrel_patience_ms allows */
} vandrel_state;

/* Room for the longest detail: 1500 UTF-16 units of at most three bytes each, and the zero. */
#define VANDREL_DETAIL_BYTES 4501

typedef struct vandrel_status {
    vandrel_state state;
    int progress;                      /* per cent, 0 to 100; may go down */
    uint32_t release;                  /* 0 as long as it isn't known */
    uint64_t pending_files;            /* files of the update, 0 as long as that isn't known; doesn't count down */
    char detail[VANDREL_DETAIL_BYTES]; /* for the player; may hold line breaks; empty where the helper said nothing */
} vandrel_status;

typedef enum vandrel_command { VANDREL_APPLY = 1, VANDREL_CANCEL = 2 } vandrel_command;

typedef struct vandrel_start_options {
    const char* profile;  /* the folder beneath BrindlerQ3 in which the job's two files stand; no path */
    const char* job;      /* NULL: a fresh random one; else 32 lower-case hexadecimal digits, never used before */
    uint32_t patience_ms; /* 0: vandrel_patience_ms of each state; else this for all of them */
    int without_group;    /* not 0: the helper isn't put into a job object, and its death is known by its silence */
} vandrel_start_options;

/* Starts the helper of this executable's folder, hidden, with this process as the client to wait for.
 * VANDREL_OK: *update is the new job. The files of jobs that are over (a last state of a minute ago or more, or
 * no change for a day) are gone from the profile. This process's environment names profile and job, so that the
 * client that the helper starts can attach to it.
 * Otherwise *update is NULL, and nothing runs. */
vandrel_result vandrel_start(const vandrel_start_options* options, vandrel_update** update);

/* In a client that the helper has started: the job in whose course it did, to be polled for how that ended. The helper
 * starts the client before it writes an error, so the state may be VANDREL_HANDOFF for a moment.
 * VANDREL_OK: the environment names no job any more, so that neither a second call nor a child of this process
 * attaches. VANDREL_NO_JOB: this process was started by somebody else. Otherwise as vandrel_start. */
vandrel_result vandrel_attach(vandrel_update** update);

/* Looks at the status file, and writes what it says now to *status. 1: that is news since the last call; 0: it isn't.
 * Never waits; costs the reading of one file of at most 16 KiB. Ten to twenty calls a second are enough.
 * After VANDREL_DIED and VANDREL_SILENT nothing more is looked at. With VANDREL_SILENT "cancel" stands in the command
 * file, so that a helper that wakes up again changes nothing. */
int vandrel_poll(vandrel_update* update, vandrel_status* status);

/* Writes the player's answer. VANDREL_CANCEL may follow VANDREL_APPLY. Waits up to two seconds while the helper happens
 * to be reading; after a power cut the old answer stands or the new one. VANDREL_OK or VANDREL_NO_COMMAND;
 * VANDREL_BAD_ARGUMENT too for an update that was attached. */
vandrel_result vandrel_answer(vandrel_update* update, vandrel_command command);

/* 1 as long as a process of the helper, or a client that it has started, lives; 0 when none does; -1 where nobody
 * knows: without a job object, and for an update that was attached. */
int vandrel_helper_is_running(const vandrel_update* update);

/* Ends the watching, not the helper. NULL is allowed. */
void vandrel_close(vandrel_update* update);

/* The job's identifier, 32 bytes and a zero, and its profile. */
const char* vandrel_job(const vandrel_update* update);
const char* vandrel_profile(const vandrel_update* update);

/* Not 0 for VANDREL_CURRENT and the states behind it. */
int vandrel_is_last(vandrel_state state);

/* How long, in milliseconds, the helper may say nothing new in a state before it is given up: 30 s for
 * VANDREL_STARTING, 35 minutes for VANDREL_UPDATE_AVAILABLE, 5 minutes for VANDREL_HANDOFF, 20 minutes for the others.
 * For an attached update 10 s in every state. Between two polls a second counts at most: when nobody has looked, or the
 * machine has slept, the helper may have spoken unheard. */
uint32_t vandrel_patience_ms(vandrel_state state);

/* What a result says, in English, for a log. Never NULL; lives for ever. */
const char* vandrel_result_text(vandrel_result result);

#ifdef __cplusplus
}
#endif
/* NOLINTEND(modernize-deprecated-headers,modernize-use-using,readability-identifier-naming) */

#endif
