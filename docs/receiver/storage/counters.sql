-- What happened between two samples.
-- Counters run for one playback: subtract only within one playback_session.

SELECT playback_session AS session, happened::time(0) AS at, continuity_errors,
       continuity_errors - lag(continuity_errors) OVER playback AS since_the_last,
       buffering_ms, buffering_ms - lag(buffering_ms) OVER playback AS since_the_last
FROM events
WHERE type = 'sqm_metrics' AND day = '2026-10-17'
WINDOW playback AS (PARTITION BY box, playback_session ORDER BY happened, counter)
ORDER BY happened;
