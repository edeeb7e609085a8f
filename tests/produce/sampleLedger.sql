-- Fills a new ledger: two stations make 2,400 meters in six hours and begin with lamps. Run by sqlite3.
INSERT INTO station VALUES ('line-1', 1790000000000), ('line-2', 1790000060000);
INSERT INTO call VALUES (zeroblob(16), 'line-1', 1790000000000), (randomblob(16), 'line-2', 1790000060000);
INSERT INTO key VALUES (CAST('image key of the sample ledger  ' AS BLOB), 'image', 'keys/image.bin', 'line-1', 1790000000000),
  (CAST('first key of the sample ledger  ' AS BLOB), 'image 2025', 'keys/<2025> & "older".bin', 'line-1', 1790000000000);
INSERT INTO key_state VALUES (CAST('first key of the sample ledger  ' AS BLOB), 'retired', 'line-1', zeroblob(16), 1790000000000);
INSERT INTO lease VALUES (1, 1, 0, 4096, 'line-1', zeroblob(16), 1790000000000);

WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2400)
INSERT INTO claim SELECT 'meter-a', printf('A-%04d', i), 1, 'line-' || (1 + i % 2), (i + 1) / 2, zeroblob(16),
  1790000000000 + i * 9000 FROM n;
INSERT INTO outcome SELECT product, serial, attempt,
  CASE WHEN CAST(substr(serial, 3) AS INTEGER) BETWEEN 1500 AND 1539 OR CAST(substr(serial, 3) AS INTEGER) % 97 = 0 THEN 'failed'
       WHEN CAST(substr(serial, 3) AS INTEGER) % 799 = 0 THEN 'interrupted' ELSE 'proven' END,
  CASE WHEN CAST(substr(serial, 3) AS INTEGER) BETWEEN 1500 AND 1539 THEN 'step 1 (install-image): the tool ended with status 1: the output can''t be written: no space left'
       WHEN CAST(substr(serial, 3) AS INTEGER) % 97 = 0 THEN 'step 2 (provisioning-image): <script>alert("secrets/' || serial || '.bin")</script> & no such file'
       WHEN CAST(substr(serial, 3) AS INTEGER) % 799 = 0 THEN 'the station was interrupted' ELSE '' END,
  station, call, at_ms + 400 + (CAST(substr(serial, 3) AS INTEGER) % 7) * 60000 FROM claim;
INSERT INTO iv SELECT CAST('image key of the sample ledger  ' AS BLOB), CAST(printf('%08d', CAST(substr(serial, 3) AS INTEGER)) AS BLOB), product, serial,
  attempt, NULL FROM claim;
INSERT INTO recall SELECT product, serial, attempt, 'the label was unreadable', station, call, 1790022000000 FROM outcome
  WHERE serial IN ('A-0007', 'A-0008');
INSERT INTO claim VALUES ('lamp', 'L-1', 1, 'line-1', 1201, zeroblob(16), 1790022100000),
  ('lamp', 'L-2', 1, 'line-1', 1202, zeroblob(16), 1790022100000);
WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1250)
INSERT INTO record SELECT 'line-1', i, zeroblob(32), '{}', i % 500 = 0, zeroblob(16), 1790000000000 + i * 18000 FROM n;
