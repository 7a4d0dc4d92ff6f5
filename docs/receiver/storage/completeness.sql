-- How much arrived, how much is stored, and whether an event is missing.
-- A gap in the counter is a lost event; if hosts do not keep their counters across restarts, it may also be a restart.

SELECT count(*) AS packages, sum(jsonb_array_length(package->'events')) AS events FROM arrivals;

SELECT tableoid::regclass AS partition, box, count(*) AS rows, max(counter) - min(counter) + 1 - count(*) AS missing
FROM events
GROUP BY tableoid, box
ORDER BY partition;
