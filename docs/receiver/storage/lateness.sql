-- How late events arrive, by type. Those of low priority wait for the next one of medium priority.

SELECT type, count(*) AS events, max(arrived - happened) AS latest
FROM events
WHERE day = '2026-10-17'
GROUP BY type
ORDER BY latest DESC, type
LIMIT 5;
