-- One fleet question over the capture table (zsl-replay explain reports/ --table captures.csv):
-- per device and build, how many captures took every frame they wanted,
-- and which rule refused frames most. An empty CSV field is unknown.
.import --csv captures.csv captures
SELECT device,
       build,
       count(*) AS captures,
       sum(taken <> '' AND CAST(taken AS INTEGER) >= CAST(requested AS INTEGER)) AS taken_in_full,
       sum(taken = '') AS taken_unknown,
       sum(refused_ae) AS ae,
       sum(refused_af) AS af,
       sum(refused_sensor_mode) AS sensor_mode
FROM captures
GROUP BY device, build
ORDER BY captures DESC;
