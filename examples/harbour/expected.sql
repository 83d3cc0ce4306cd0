-- The symbols that the chart of Port Merrow should have, feature by feature, worked out from the chart's data alone:
-- for each layer the cartographer's reasons, the strongest first. Placement that is not given is NULL.
-- sqlite3 -header -csv harbour.gpkg < expected.sql > expected.csv

WITH expected(layer, id, symbol, x, y, rotation) AS (

  -- Land and shore.
  SELECT 'LNDARE', FIDN, 'LANDA', NULL, NULL, NULL FROM LNDARE
  UNION ALL
  SELECT 'COALNE', FIDN, 'CSTLN', NULL, NULL, NULL FROM COALNE
  UNION ALL
  -- Solid where the structure is always dry, broken where it covers.
  SELECT 'SLCONS', FIDN, CASE WHEN WATLEV IN (1, 2) THEN 'CSTLN' ELSE 'CSTLN_DASH' END, NULL, NULL, NULL FROM SLCONS
  UNION ALL
  SELECT 'LNDMRK', FIDN,
         COALESCE(CASE WHEN CONVIS = 1
                       THEN CASE CATLMK WHEN '3' THEN 'CHIMNY11' WHEN '7' THEN 'MSTCON14' WHEN '15' THEN 'DOMES011'
                                        WHEN '17' THEN 'TOWERS03' WHEN '20' THEN 'BUIREL13' ELSE 'POSGEN03' END
                       ELSE CASE CATLMK WHEN '3' THEN 'CHIMNY01' WHEN '7' THEN 'MSTCON04' WHEN '15' THEN 'DOMES001'
                                        WHEN '17' THEN 'TOWERS01' END
                  END, 'POSGEN01'),
         NULL, NULL, NULL FROM LNDMRK

  -- Depths.
  UNION ALL
  SELECT 'DEPARE', FIDN,
         CASE WHEN DRVAL1 IS NULL THEN 'NODTA03' WHEN DRVAL1 >= 20 THEN 'DEPDW' WHEN DRVAL1 >= 10 THEN 'DEPMD'
              WHEN DRVAL1 >= 5 THEN 'DEPMS' WHEN DRVAL1 >= 0 THEN 'DEPVS' ELSE 'DEPIT' END,
         NULL, NULL, NULL FROM DEPARE
  UNION ALL
  SELECT 'DEPCNT', FIDN, CASE WHEN VALDCO = 10 THEN 'DEPSC' ELSE 'DEPCN' END, NULL, NULL, NULL FROM DEPCNT
  UNION ALL
  SELECT 'SOUNDG', FIDN,
         CASE WHEN DEPTH < 0 THEN 'SOUNDSA1'
              ELSE CASE WHEN DEPTH <= 10 THEN 'SOUNDS' ELSE 'SOUNDG' END
                   || CASE WHEN QUASOU IN ('3', '4', '5', '8', '9') THEN 'C2' WHEN TECSOU = '6' THEN 'B1' ELSE '' END
         END,
         NULL, NULL, NULL FROM SOUNDG

  -- Areas. Drying rock and coral have a pattern; any other nature of the seabed is text alone.
  UNION ALL
  SELECT 'SBDARE', FIDN,
         CASE WHEN WATLEV = 4 AND EXISTS (SELECT 1 FROM json_each('[' || NATSUR || ']') WHERE value IN (9, 11, 14))
              THEN 'RCKLDG01' END,
         NULL, NULL, NULL FROM SBDARE
  -- The gravest restriction gives the symbol, the others its number.
  UNION ALL
  SELECT 'RESARE', FIDN,
         CASE WHEN entry AND (anchoring OR fishing) THEN 'ENTRES61'
              WHEN entry THEN 'ENTRES' || CASE WHEN others THEN '71' ELSE '51' END
              WHEN anchoring AND fishing THEN 'ACHRES61'
              WHEN anchoring THEN 'ACHRES' || CASE WHEN others THEN '71' ELSE '51' END
              WHEN fishing THEN 'FSHRES' || CASE WHEN others THEN '71' ELSE '51' END
              WHEN codes > 0 THEN 'INFARE51'
              ELSE 'RSRDEF51' END,
         NULL, NULL, NULL
    FROM (SELECT FIDN, count(value) AS codes, total(value IN (7, 8, 14)) > 0 AS entry, total(value IN (1, 2)) > 0 AS anchoring,
                 total(value BETWEEN 3 AND 6) > 0 AS fishing, total(value BETWEEN 9 AND 13) > 0 AS others
            FROM RESARE LEFT JOIN json_each('[' || RESTRN || ']') GROUP BY FIDN)

  -- Dangers.
  UNION ALL
  SELECT 'UWTROC', FIDN,
         CASE WHEN WATLEV IN (1, 2) THEN 'LNDARE01'
              WHEN WATLEV IN (4, 5) THEN 'UWTROC04'
              WHEN WATLEV = 3 AND VALSOU > 20 THEN 'DANGER02'
              WHEN WATLEV = 3 AND VALSOU IS NOT NULL THEN 'DANGER01'
              ELSE 'UWTROC03' END,
         NULL, NULL, NULL FROM UWTROC
  UNION ALL
  SELECT 'OBSTRN', FIDN,
         CASE WHEN CATOBS = 7 AND (VALSOU IS NULL OR VALSOU >= SURDEP) THEN 'FOULGND1'
              WHEN WATLEV IN (1, 2, 7) THEN 'OBSTRN11'
              WHEN WATLEV IN (4, 5) THEN 'OBSTRN03'
              WHEN VALSOU > 20 THEN 'DANGER02'
              WHEN VALSOU IS NOT NULL THEN 'DANGER01'
              ELSE 'OBSTRN01' END,
         NULL, NULL, NULL FROM OBSTRN
  UNION ALL
  SELECT 'WRECKS', FIDN,
         CASE WHEN CATWRK IN (4, 5) OR WATLEV IN (1, 2) THEN 'WRECKS01'
              WHEN CATWRK = 1 AND VALSOU >= SURDEP THEN 'WRECKS04'
              WHEN VALSOU < 0 THEN 'DANGER03'
              WHEN VALSOU > 20 THEN 'DANGER02'
              WHEN VALSOU IS NOT NULL THEN 'DANGER01'
              WHEN CATWRK IN (1, 3) THEN 'WRECKS04'
              ELSE 'WRECKS05' END,
         NULL, NULL, NULL FROM WRECKS

  -- Floating and fixed marks.
  UNION ALL
  SELECT 'BOYLAT', FIDN,
         CASE WHEN FCSUBTYPE = 1 AND BOYSHP = 5 AND CATLAM = 1 THEN 'BOYSPR60'
              WHEN FCSUBTYPE = 1 AND BOYSHP = 5 AND CATLAM = 2 THEN 'BOYSPR61'
              WHEN FCSUBTYPE = 1 AND CATLAM = 1 AND COLOUR = '3' THEN 'BOYLAT24'
              WHEN FCSUBTYPE = 1 AND CATLAM = 2 AND COLOUR = '4' THEN 'BOYLAT13'
              WHEN FCSUBTYPE = 2 AND CATLAM = 3 AND SUBSTR(COLOUR, 1, 1) = '3' THEN 'BOYLAT24'
              WHEN FCSUBTYPE = 2 AND CATLAM = 4 AND SUBSTR(COLOUR, 1, 1) = '4' THEN 'BOYLAT13'
              ELSE 'BOYDEF03' END,
         NULL, NULL, NULL FROM BOYLAT
  UNION ALL
  -- The quadrant's symbol for a buoy with a topmark; otherwise that of a pillar or spar.
  SELECT 'BOYCAR', FIDN,
         COALESCE(CASE WHEN FIDN IN (SELECT MASTER FROM TOPMAR) THEN 'BOYCAR0' || CATCAM END,
                  CASE BOYSHP WHEN 4 THEN 'BOYPIL01' WHEN 5 THEN 'BOYSPR01' END, 'BOYDEF03'),
         NULL, NULL, NULL FROM BOYCAR
  UNION ALL
  SELECT 'BOYISD', FIDN, 'BOYISD12', NULL, NULL, NULL FROM BOYISD
  UNION ALL
  SELECT 'BOYSAW', FIDN, 'BOYSAW12', NULL, NULL, NULL FROM BOYSAW
  UNION ALL
  SELECT 'BOYSPP', FIDN,
         CASE WHEN BOYSHP = 7 AND INFORM IS NOT NULL AND SUBSTR(INFORM, 1, 7) <> 'Current' THEN 'BOYSUP02'
              WHEN INSTR(',' || CATSPM || ',', ',9,') > 0 THEN 'BOYSUP01'
              WHEN INSTR(',' || CATSPM || ',', ',14,') > 0 THEN 'BOYMOR11'
              WHEN BOYSHP = 2 THEN 'BOYSPP25'
              WHEN BOYSHP = 1 THEN 'BOYSPP15'
              ELSE 'BOYSPP11' END,
         NULL, NULL, NULL FROM BOYSPP
  UNION ALL
  SELECT 'BCNLAT', FIDN,
         CASE WHEN CATLAM = 1 THEN CASE WHEN BCNSHP = 1 THEN 'BCNLAT21' ELSE 'BCNLAT15' END
              WHEN CATLAM = 2 THEN CASE WHEN BCNSHP = 1 THEN 'BCNLAT22' ELSE 'BCNLAT16' END
              ELSE 'BCNDEF13' END,
         NULL, NULL, NULL FROM BCNLAT
  UNION ALL
  SELECT 'TOPMAR', FIDN,
         CASE TOPSHP WHEN 1 THEN 'TOPMAR02' WHEN 3 THEN 'TOPMAR10' WHEN 4 THEN 'TOPMAR12' WHEN 5 THEN 'TOPMAR13'
                     WHEN 7 THEN 'TOPMAR65' WHEN 10 THEN 'TOPMAR08' WHEN 11 THEN 'TOPMAR07' WHEN 13 THEN 'TOPMAR05'
                     WHEN 14 THEN 'TOPMAR06' ELSE 'QUESMRK1' END,
         CASE WHEN TOPSHP IN (10, 11, 13, 14) THEN 1.14 WHEN TOPSHP = 4 THEN 0.94 ELSE 0.8 END,
         CASE WHEN TOPSHP IN (10, 11, 13, 14) THEN 4.25 WHEN TOPSHP = 4 THEN 3.5 ELSE 3.0 END,
         15.0 FROM TOPMAR

  -- Lights. Those without a known subtype, and auxiliary ones, get the general flare unless their category says more.
  UNION ALL
  SELECT 'LIGHTS', FIDN,
         CASE WHEN FCSUBTYPE = 3 AND ORIENT IS NULL THEN 'QUESMRK1'
              WHEN FCSUBTYPE IN (1, 2, 3)
              THEN CASE WHEN COLOUR = '4' THEN 'LIGHTS12'
                        WHEN COLOUR = '3' THEN 'LIGHTS11'
                        WHEN COLOUR IN ('6', '11') OR SUBSTR(COLOUR || ',', 1, 2) = '1,' THEN 'LIGHTS13'
                        ELSE 'LIGHTDEF' END
              WHEN CATLIT = '9' THEN 'LIGHTS81'
              WHEN CATLIT = '8' THEN 'LIGHTS82'
              ELSE 'LIGHTDEF' END,
         CASE WHEN FCSUBTYPE = 2 AND SECTR1 IS NOT SECTR2
              THEN CASE COLOUR WHEN '3' THEN -2.5 WHEN '4' THEN 2.5 END END,
         CASE WHEN FCSUBTYPE = 2 AND SECTR1 IS NOT SECTR2 AND SUBSTR(COLOUR, 1, 1) = '1' THEN 2.5 END,
         CASE WHEN FCSUBTYPE = 1 AND MLTYLT > 1 THEN 45.0
              WHEN FCSUBTYPE = 3 AND ORIENT IS NULL THEN NULL
              WHEN FCSUBTYPE IN (1, 2, 3) THEN 135.0
              WHEN CATLIT IN ('8', '9') THEN NULL
              ELSE 135.0 END
    FROM LIGHTS
)
SELECT layer, id, symbol, x, y, rotation FROM expected ORDER BY layer, id;
