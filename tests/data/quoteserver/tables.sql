create table p(t text, day date, moment timestamp, o double, h numeric, l text, c double, v integer, a double);
insert into p values
  ('X', '2024-01-02', '2024-01-02 16:00:00', 10, 11.25, ' 9.5 ', 10.5, 12000000000, 10.4),
  ('X', '2024-01-03', '2024-01-03 16:00:00', 20.1, 22, '20', 21, null, 21),
  ('O''X', '2024-01-02', '', 1, 1, '1', 1, 5, 1);
create table events(t text, day text, amount numeric, shares double);
insert into events values ('X', '2024-01-03', 0.25, 0.5);
create table o(t text, option text, bid double, iv double, moment timestamp, share double);
insert into o values ('X', 'X261218C00100000', 1.5, 0.25, '2026-11-20 21:00:00', 101.5);
