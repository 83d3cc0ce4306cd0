-- The labels that lights, buoys and the seabed of Port Merrow should have, worked out from the chart's data alone.
-- sqlite3 -header -csv harbour.gpkg < expected_labels.sql > expected_labels.csv

WITH codes(code, letters, place) AS (
  VALUES ('1', 'W', 1), ('3', 'R', 2), ('4', 'G', 3), ('5', 'Bu', 4), ('6', 'Y', 5), ('11', 'Or', 6)
),
bottoms(code, letters) AS (
  VALUES (1, 'M'), (2, 'Cy'), (3, 'Si'), (4, 'S'), (5, 'St'), (6, 'G'), (7, 'P'), (8, 'Cb'), (9, 'R'), (14, 'Co'), (17, 'Sh'),
         (18, 'Bo')
),
-- All sectors of a sector light describe one light; any other light is alone.
parts AS (
  SELECT light.FIDN AS id, part.COLOUR, part.VALNMR
    FROM LIGHTS AS light
    JOIN LIGHTS AS part
      ON part.FIDN = light.FIDN
      OR (light.FCSUBTYPE = 2 AND part.FCSUBTYPE = 2 AND part.OBJNAM = light.OBJNAM)
),
colours AS (
  SELECT id, group_concat(letters, '') AS text
    FROM (SELECT DISTINCT id, letters, place FROM parts JOIN codes
            ON instr(',' || COALESCE(COLOUR, '1') || ',', ',' || code || ',') ORDER BY id, place)
   GROUP BY id
),
ranges AS (
  SELECT id, CASE count(DISTINCT VALNMR)
               WHEN 0 THEN '' WHEN 1 THEN printf('%gM', max(VALNMR))
               WHEN 2 THEN printf('%g/%gM', max(VALNMR), min(VALNMR))
               ELSE printf('%g-%gM', max(VALNMR), min(VALNMR)) END AS text
    FROM parts GROUP BY id
),
pieces AS (
  SELECT FIDN AS id, FCSUBTYPE AS subtype, OBJNAM AS name,
         CASE LITCHR WHEN 1 THEN 'F' WHEN 2 THEN 'Fl' WHEN 4 THEN 'Q' WHEN 5 THEN 'VQ' WHEN 7 THEN 'Iso' WHEN 8 THEN 'Oc'
                     WHEN 12 THEN 'Mo' WHEN 26 THEN 'VQ' WHEN 28 THEN 'Al' END
         || CASE WHEN COALESCE(SIGGRP, '()') IN ('()', '(1)') THEN '' ELSE substr(SIGGRP, 1, instr(SIGGRP, ')')) END
         || CASE WHEN LITCHR = 26 THEN '+LFl' ELSE '' END AS head,
         CASE WHEN colours.text = 'W' THEN '' ELSE colours.text END AS named,
         CASE WHEN SIGPER IS NULL THEN '' ELSE printf('%gs', SIGPER) END AS period,
         CASE WHEN HEIGHT IS NULL THEN '' ELSE printf('%gm', HEIGHT) END || ranges.text AS reach
    FROM LIGHTS JOIN colours ON colours.id = FIDN JOIN ranges ON ranges.id = FIDN
),
described AS (
  SELECT id, subtype, name, period || reach AS figures, period, named, head,
         head || CASE WHEN named = '' THEN '' WHEN head LIKE '%)' THEN named ELSE '.' || named END AS start,
         CASE WHEN head LIKE '%)' AND named = '' THEN '' ELSE '.' END AS point
    FROM pieces
),
expected(layer, id, label) AS (
  SELECT 'LIGHTS', id, CASE WHEN subtype IN (1, 2, 3) THEN start || CASE WHEN figures = '' THEN '' ELSE point || figures END END
    FROM described
  UNION ALL
  SELECT 'BOYLAT', FIDN,
         (SELECT OBJNAM || ' ' || start || CASE WHEN period = '' THEN '' ELSE point || period END
            FROM described WHERE name = OBJNAM AND FCSUBTYPE IN (1, 2))
    FROM BOYLAT
  UNION ALL
  SELECT 'BOYCAR', FIDN, (SELECT OBJNAM FROM LIGHTS WHERE LIGHTS.OBJNAM = BOYCAR.OBJNAM) FROM BOYCAR
  UNION ALL
  SELECT 'SBDARE', FIDN,
         (SELECT group_concat(letters, '.')
            FROM (SELECT letters FROM json_each('[' || NATSUR || ']') JOIN bottoms ON code = value ORDER BY key))
    FROM SBDARE
)
SELECT layer, id, label FROM expected ORDER BY layer, id;
