#ifndef TAMBER_CONSUME_REPORT_H
#define TAMBER_CONSUME_REPORT_H

// What made a consume report. The values travel as ints through the
// engine's report calls; the names say which transition each one is.
enum eTransitiontEvenType {
    transitionMarker = 0,      // new metadata reached the host
    transitionTuneIn = 1,      // first metadata after a tune
    transitionEnd = 2,         // the playback stopped
    transitionPause = 3,
    transitionResume = 4,
    transitionSkipForward = 5, // skips only mark the direction for the next report
    transitionSkipBack = 6,
    transitionGoLive = 7,
    transitionUpdate = 8,      // the periodic report of a period still running
    transitionError = 9        // the playback ended on a failure
};

#endif
