-- Makes the account "acme" one in which no column is what it is by default: rates at every level, rights of each kind,
-- and what is archived. Beside it stand "clock" and "other", each with the same few records.
UPDATE people SET rate = 81.25 WHERE id = 1;
UPDATE people SET rate = 45.5 WHERE id = 2;
INSERT INTO people (id, account_id, email, first_name, last_name, admin, rate, password_hash, active)
SELECT n.column1, 1, n.column2, n.column3, n.column4, n.column5, n.column6, password_hash, n.column7
FROM people, (VALUES (7, 'cleo@example.com', 'Cleo', 'Zoë “C”', 1, 95.75, 1), (8, 'dora@example.com', 'Dora', 'Old', 0, 12.5, 0),
                     (9, 'eve@example.com', 'Eve', '', 0, 0, 1)) n WHERE people.id = 1;

INSERT INTO clients (id, account_id, name, active) VALUES (7, 1, 'Öl & Söhne "GmbH"', 1), (8, 1, 'Old Harbour', 0);
UPDATE projects SET rate = 100.25, bill_by = 'Project' WHERE id = 1;
INSERT INTO projects (id, account_id, client_id, name, code, billable, bill_by, rate, active)
VALUES (10, 1, 7, 'Cranes', 'C-1', 1, 'People', 70.5, 1), (11, 1, 8, 'Wrecks', 'W', 1, 'none', 60, 0),
       (12, 1, 1, 'Old Website', 'OLD', 0, 'Tasks', 50, 0), (13, 1, 7, 'No Tasks', '', 1, 'Tasks', 0, 1);
UPDATE tasks SET rate = 33.3 WHERE id = 2;
INSERT INTO tasks (id, account_id, name, rate, active) VALUES (7, 1, 'Lifting', 20.75, 1), (8, 1, 'Old Task', 15.5, 0);
UPDATE task_assignments SET rate = id * 10 + 0.25 WHERE account_id = 1;
INSERT INTO task_assignments (id, account_id, project_id, task_id, billable, rate)
VALUES (13, 1, 10, 7, 1, 71), (14, 1, 10, 2, 0, 72), (15, 1, 10, 8, 1, 73), (16, 1, 11, 1, 1, 74), (17, 1, 12, 1, 1, 75);
UPDATE user_assignments SET rate = id * 5 + 0.75 WHERE account_id = 1;
INSERT INTO user_assignments (id, account_id, project_id, person_id, rate)
VALUES (13, 1, 10, 1, 41), (14, 1, 10, 7, 42), (15, 1, 11, 1, 43), (16, 1, 12, 2, 44), (17, 1, 13, 2, 46), (18, 1, 3, 8, 47);

-- 1709626540 is Tue, 5 Mar 2024 08:15:40 UTC, where the clock stands.
INSERT INTO entries (id, person_id, project_id, task_id, spent_at, notes, seconds, timer_started, started_at, ended_at, locked_reason,
                     billed, created_at, updated_at)
VALUES (1, 1, 1, 1, '2024-03-05', 'Sketches <b>' || char(13, 10) || '“two” & ' || char(8232, 128105), 5025, NULL, 545, 595, NULL, 0, 1709600000, 1709600100),
       (2, 1, 1, 2, '2024-03-05', '', 3600, NULL, NULL, NULL, 'Approved.', 1, 1709600001, 1709600101),
       (3, 1, 12, 1, '2024-03-05', ' blanks  within ', 600, NULL, NULL, NULL, NULL, 0, 1709600002, 1709600102),
       (4, 1, 10, 7, '2024-03-05', 'Running', 900, 1709626000, NULL, NULL, NULL, 0, 1709600003, 1709600103),
       (5, 1, 10, 8, '2024-03-04', 'Yesterday', 7185, NULL, NULL, NULL, NULL, 0, 1709500000, 1709500100),
       (6, 2, 1, 1, '2024-03-05', 'Ben''s', 1800, NULL, NULL, NULL, NULL, 0, 1709600004, 1709600104),
       (7, 2, 1, 2, '2024-03-03', 'Sunday', 86400, NULL, 1410, 1439, NULL, 0, 1709400000, 1709400100),
       (8, 7, 10, 2, '2024-02-29', 'Leap day', 4500, NULL, NULL, NULL, NULL, 1, 1709200000, 1709200100),
       (9, 8, 3, 1, '2023-12-31', 'Long ago', 3661, NULL, NULL, NULL, NULL, 0, 1704000000, 1704000100),
       (10, 3, 4, 3, '2024-03-05', 'Elsewhere', 7200, NULL, 480, 600, NULL, 0, 1709600005, 1709600105);
