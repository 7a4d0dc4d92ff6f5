-- How long zaps take, by channel.
-- A playback_zap carries no channel; the playback_start of the same session does.

SELECT start.channel_id, count(*) AS zaps,
       percentile_disc(0.5) WITHIN GROUP (ORDER BY zap.zap_time_ms) AS median_ms, max(zap.zap_time_ms) AS longest_ms
FROM events AS zap
LEFT JOIN events AS start ON start.type = 'playback_start' AND start.box = zap.box AND start.day = zap.day
                         AND start.playback_session = zap.playback_session
WHERE zap.type = 'playback_zap' AND zap.day = '2026-10-17'
GROUP BY start.channel_id
ORDER BY start.channel_id;
