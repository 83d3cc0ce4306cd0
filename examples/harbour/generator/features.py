"""The features of the chart of Port Merrow, layer by layer. Codes are those of the S-57 object catalogue."""
import math
import random

import seabed
import wkt

NORTH, EAST, SOUTH, WEST = 1, 2, 3, 4  # CATCAM
CONICAL, CAN, SPHERICAL, PILLAR, SPAR, BARREL, SUPERBUOY = 1, 2, 3, 4, 5, 6, 7  # BOYSHP
WHITE, BLACK, RED, GREEN, YELLOW = "1", "2", "3", "4", "6"  # COLOUR
ALL_ROUND, SECTOR, LEADING, AUXILIARY = 1, 2, 3, 4  # FCSUBTYPE of lights
LATERAL, PREFERRED = 1, 2  # FCSUBTYPE of lateral buoys
FIXED, FLASHING, QUICK, VERY_QUICK, ISOPHASE, OCCULTING, LONG_FLASH, MORSE = 1, 2, 4, 5, 7, 8, 3, 12  # LITCHR

HALF_WIDTH = 150.0  # of the fairway, which runs north along x = 0
CARDINAL_COLOURS = {NORTH: "2,6", EAST: "2,6,2", SOUTH: "6,2", WEST: "6,2,6"}
CARDINAL_TOPMARKS = {NORTH: 13, EAST: 11, SOUTH: 14, WEST: 10}
CARDINAL_LIGHTS = {NORTH: (VERY_QUICK, "()", None), EAST: (VERY_QUICK, "(3)", 5.0), SOUTH: (26, "(6)(1)", 10.0),
                   WEST: (VERY_QUICK, "(9)", 10.0)}
CARDINAL_NAMES = {NORTH: "North", EAST: "East", SOUTH: "South", WEST: "West"}


def least_depth_around(position):
    area = seabed.area_of(position)
    return None if area is None else area[0]


def land(chart):
    coast = seabed.coastline()
    corners = [(seabed.EAST, seabed.NORTH), (seabed.WEST, seabed.NORTH)]
    chart.add("LNDARE", wkt.polygon([coast + corners + coast[:1]]), OBJNAM="Merrow")
    west = [p for p in coast if p[0] <= -300]
    town = [p for p in coast if -300 <= p[0] <= 300]
    east = [p for p in coast if p[0] >= 300]
    chart.add("COALNE", wkt.line(west), CATCOA=3, OBJNAM="Sallow Strand")
    chart.add("COALNE", wkt.line(town))
    chart.add("COALNE", wkt.line(east), CATCOA=1, OBJNAM="Tern Cliffs")
    for x, name in ((-240.0, "West Mole"), (240.0, "East Mole")):
        chart.add("SLCONS", wkt.line([(x, seabed.coast(x)), (x, seabed.coast(x) - 350.0), (x * 0.7, seabed.coast(x) - 480.0)]),
                  CATSLC=1, WATLEV=2, OBJNAM=name)
    chart.add("SLCONS", wkt.line([(60.0, seabed.coast(60.0)), (60.0, seabed.coast(60.0) - 180.0)]), CATSLC=4, WATLEV=2,
              OBJNAM="Ferry Pier")
    chart.add("SLCONS", wkt.line([(-1500.0, seabed.coast(-1500.0)), (-1500.0, seabed.coast(-1500.0) - 150.0)]), CATSLC=2,
              WATLEV=4)
    for x, inland, category, conspicuous, height, name in (
            (-420.0, 300.0, "20", 1, 46.0, "St Orm"), (330.0, 420.0, "3", 1, 62.0, "Kiln Chimney"),
            (900.0, 500.0, "7", 2, 35.0, None), (-1900.0, 350.0, "17", 1, 28.0, "Strand Tower"),
            (2300.0, 250.0, "17", 2, 12.0, None), (-2900.0, 600.0, "15", 1, 18.0, "Observatory"),
            (1500.0, 700.0, "3", None, 30.0, None), (3300.0, 300.0, "5", 2, 9.0, None)):
        chart.add("LNDMRK", wkt.point((x, seabed.coast(x) + inland)), CATLMK=category, CONVIS=conspicuous, HEIGHT=height,
                  OBJNAM=name)


def depths(chart):
    for shallow, deep, rings in seabed.depth_areas():
        chart.add("DEPARE", wkt.polygon(rings), DRVAL1=shallow, DRVAL2=deep, QUASOU="1")
    for value, points in seabed.contour_lines():
        chart.add("DEPCNT", wkt.line(points), VALDCO=value)


def soundings(chart):
    """A jittered grid. A sounding is rounded to the safe side and left out where the drawn contour disagrees with it."""
    spread = random.Random(20240501)
    positions = [(seabed.WEST + 225.0 + 450.0 * i, seabed.SOUTH + 200.0 + 430.0 * j) for j in range(15) for i in range(17)]
    positions += [(seabed.BANK[0] + r * math.sin(a), seabed.BANK[1] + r * math.cos(a))
                  for r in (60.0, 190.0, 320.0, 500.0) for a in (0.4, 1.9, 3.5, 5.0)]
    positions += [(x, seabed.coast(x) - 30.0) for x in range(-3800, 3801, 475)]
    for number, (x, y) in enumerate(positions):
        place = (x + spread.uniform(-120.0, 120.0), y + spread.uniform(-120.0, 120.0)) if number < 15 * 17 else (x, y)
        area = seabed.area_of(place)
        value = math.floor(seabed.depth(*place) * 10.0) / 10.0 if area else None
        if value is None or not area[0] <= value <= area[1]:
            continue
        quality = {7: "4", 23: "9", 61: "3", 102: "8", 140: "7", 256: "3", 266: "8"}.get(number, "1")
        swept = 20 <= number <= 24 or number in (258, 262)
        chart.add("SOUNDG", wkt.point_z(place, value), DEPTH=value, QUASOU=quality, TECSOU="6" if swept else "1,3",
                  SOUACC=1.0 if quality in ("3", "4", "8", "9") else 0.3)


def dangers(chart):
    def rock(x, y, water_level, depth=None, quality="2", surface="9"):
        chart.add("UWTROC", wkt.point((x, y)), WATLEV=water_level, VALSOU=depth, QUASOU=quality, NATSUR=surface,
                  SURDEP=least_depth_around((x, y)))

    for x in (-3300.0, -2700.0, -2250.0, -1750.0, 850.0, 1350.0, 2050.0, 2950.0):
        rock(x, seabed.coast(x) - 70.0, 4)
    rock(3550.0, seabed.coast(3550.0) - 120.0, 5, -0.2, "6")
    rock(-3600.0, seabed.coast(-3600.0) - 160.0, 2, surface=None)
    rock(-1000.0, 1500.0, 3)
    rock(1600.0, 1200.0, 3, 3.1, "6")
    rock(-2300.0, 700.0, 3, 8.4, "6", "14")
    rock(seabed.BANK[0] + 40.0, seabed.BANK[1] - 30.0, 3, 0.9, "6")
    rock(-2900.0, -2600.0, 3, 22.5, "6", "9,17")
    rock(1500.0, -2900.0, None, None, None, None)

    def obstruction(x, y, category, water_level, depth=None, quality="2", **more):
        chart.add("OBSTRN", wkt.point((x, y)), CATOBS=category, WATLEV=water_level, VALSOU=depth, QUASOU=quality,
                  SURDEP=least_depth_around((x, y)), **more)

    obstruction(-700.0, 900.0, 1, 3)
    obstruction(700.0, 300.0, 2, 3, 6.2, "6", INFORM="Wellhead")
    obstruction(-1800.0, -1500.0, 2, 3, 21.3, "6", INFORM="Wellhead")
    obstruction(-3200.0, 300.0, 5, 2, INFORM="Fish haven marker dolphin")
    obstruction(-1500.0, seabed.coast(-1500.0) - 200.0, 1, 4)
    obstruction(1100.0, seabed.coast(1100.0) - 90.0, 1, 5, 0.0, "6")
    obstruction(-400.0, -1200.0, 7, 3, 24.0, "7", NATSUR="4,17")
    obstruction(3000.0, 900.0, 7, 3)
    obstruction(3300.0, -700.0, 6, 3, 11.5, "6", NATSUR="9")
    obstruction(-3500.0, -900.0, None, 3, 14.9, "3")
    obstruction(-2600.0, 1700.0, 4, 7)

    def wreck(x, y, category, water_level=3, depth=None, quality="2", **more):
        chart.add("WRECKS", wkt.point((x, y)), CATWRK=category, WATLEV=water_level, VALSOU=depth, QUASOU=quality,
                  SURDEP=least_depth_around((x, y)), **more)

    wreck(-1200.0, -2400.0, 1)
    wreck(1000.0, -600.0, 2)
    wreck(-2500.0, -300.0, 2, 3, 7.6, "6", OBJNAM="Hesper")
    wreck(-600.0, -2800.0, 2, 3, 22.0, "6")
    wreck(-3400.0, -3000.0, 1, 3, 26.0, "6", OBJNAM="Corran")
    wreck(2900.0, 300.0, 3, 3)
    wreck(3500.0, -3000.0, 3, 3, 21.0, "7")
    wreck(1900.0, seabed.coast(1900.0) - 60.0, 5, 2, HEIGHT=4.0, OBJNAM="Marchioness")
    wreck(-2000.0, seabed.coast(-2000.0) - 130.0, 2, 4, -0.4, "6")
    wreck(-3700.0, 1200.0, 4, 3, OBJNAM="Lapwing")
    wreck(500.0, -1800.0, None, None, None, None)
    wreck(3700.0, 1300.0, 2, 1, 1.2, "3")


def light(chart, position, kind, colour, character, group, period, **more):
    chart.add("LIGHTS", wkt.point(position), FCSUBTYPE=kind, COLOUR=colour, LITCHR=character, SIGGRP=group, SIGPER=period,
              **more)


def lateral_marks(chart):
    """Region A: red to port, green to starboard when coming in from sea. Every third pair is unlit spars."""
    for pair, y in enumerate(range(-3000, 1801, 600)):
        for hand, x, colour, shape in ((1, -HALF_WIDTH, RED, CAN), (2, HALF_WIDTH, GREEN, CONICAL)):
            lit = pair % 3 != 2
            name = f"No {2 * pair + (2 if hand == 1 else 1)}"
            buoy = chart.add("BOYLAT", wkt.point((x, y)), FCSUBTYPE=LATERAL, BOYSHP=shape if lit else SPAR, CATLAM=hand,
                             COLOUR=colour, STATUS="1" if lit else "1,5", OBJNAM=name, SCAMIN=59999)
            if lit:
                chart.add("TOPMAR", wkt.point((x, y)), TOPSHP=5 if hand == 1 else 1, COLOUR=colour, MASTER=buoy)
                light(chart, (x, y), ALL_ROUND, colour, FLASHING, "(2)" if pair % 2 else "(1)", 5.0 if pair % 2 else 3.0,
                      HEIGHT=4.0, VALNMR=4.0, OBJNAM=name)
    chart.add("BOYLAT", wkt.point((-900.0, -1000.0)), FCSUBTYPE=PREFERRED, BOYSHP=CAN, CATLAM=3, COLOUR="3,4,3", COLPAT="1",
              STATUS="1", OBJNAM="Strand Fork", SCAMIN=89999)
    chart.add("BOYLAT", wkt.point((950.0, 700.0)), FCSUBTYPE=PREFERRED, BOYSHP=CONICAL, CATLAM=4, COLOUR="4,3,4", COLPAT="1",
              STATUS="1", OBJNAM="Cliff Fork", SCAMIN=89999)
    chart.add("BOYLAT", wkt.point((-3000.0, 1300.0)), BOYSHP=CAN, CATLAM=1, COLOUR=RED, STATUS="8", OBJNAM="Yacht Club")
    chart.add("BOYLAT", wkt.point((-3150.0, 1500.0)), FCSUBTYPE=7, BOYSHP=CONICAL, CATLAM=2, COLOUR=GREEN, STATUS="8,7",
              OBJNAM="Yacht Club")
    chart.add("BOYLAT", wkt.point((-3300.0, 1600.0)), FCSUBTYPE=LATERAL, BOYSHP=PILLAR, STATUS="4")
    for x, hand, colour in ((-168.0, 1, RED), (168.0, 2, GREEN)):
        position = (x, seabed.coast(x / 0.7) - 480.0)
        chart.add("BCNLAT", wkt.point(position), BCNSHP=3, CATLAM=hand, COLOUR=colour, HEIGHT=8.0,
                  OBJNAM="West Mole" if hand == 1 else "East Mole")
        light(chart, position, ALL_ROUND, colour, FIXED, None, None, HEIGHT=9.0, VALNMR=5.0, MLTYLT=2,
              OBJNAM="West Mole" if hand == 1 else "East Mole")
    for step in range(3):
        y = seabed.coast(0.0) - 60.0 - 70.0 * step
        chart.add("BCNLAT", wkt.point((-90.0, y)), BCNSHP=1, CATLAM=1, COLOUR=RED)
        chart.add("BCNLAT", wkt.point((90.0, y)), BCNSHP=1, CATLAM=2, COLOUR=GREEN)
    chart.add("BCNLAT", wkt.point((-2100.0, seabed.coast(-2100.0) - 100.0)), BCNSHP=1, COLOUR="11")


def cardinal(chart, quadrant, x, y, place, lit=True, topmark=True):
    name = f"{place} {CARDINAL_NAMES[quadrant]}"
    buoy = chart.add("BOYCAR", wkt.point((x, y)), BOYSHP=PILLAR if lit else SPAR, CATCAM=quadrant,
                     COLOUR=CARDINAL_COLOURS[quadrant], COLPAT="1", OBJNAM=name, SCAMIN=89999)
    if topmark:
        chart.add("TOPMAR", wkt.point((x, y)), TOPSHP=CARDINAL_TOPMARKS[quadrant], COLOUR=BLACK, MASTER=buoy)
    if lit:
        character, group, period = CARDINAL_LIGHTS[quadrant]
        light(chart, (x, y), ALL_ROUND, WHITE, character, group, period, HEIGHT=5.0, VALNMR=5.0, OBJNAM=name)


def other_marks(chart):
    bank_x, bank_y = seabed.BANK
    for quadrant, dx, dy in ((NORTH, 0, 700), (EAST, 700, 0), (SOUTH, 0, -700), (WEST, -700, 0)):
        cardinal(chart, quadrant, bank_x + dx, bank_y + dy, "Gannet")
    cardinal(chart, SOUTH, -2500.0, -450.0, "Hesper", lit=False)
    cardinal(chart, EAST, 1150.0, -600.0, "Anchor", lit=False, topmark=False)
    cardinal(chart, NORTH, 3500.0, -2850.0, "Kestrel", topmark=False)
    chart.add("BOYCAR", wkt.point((-3800.0, -3300.0)), BOYSHP=PILLAR, COLOUR="6,2", OBJNAM="Unidentified")
    buoy = chart.add("BOYISD", wkt.point((1000.0, -560.0)), BOYSHP=SPAR, COLOUR="2,3,2", COLPAT="1", OBJNAM="Old Anchor",
                     SCAMIN=59999)
    chart.add("TOPMAR", wkt.point((1000.0, -560.0)), TOPSHP=4, COLOUR=BLACK, MASTER=buoy)
    light(chart, (1000.0, -560.0), ALL_ROUND, WHITE, FLASHING, "(2)", 10.0, HEIGHT=4.0, VALNMR=4.0)
    buoy = chart.add("BOYSAW", wkt.point((0.0, -3350.0)), BOYSHP=PILLAR, COLOUR="3,1", COLPAT="2",
                     OBJNAM="Merrow Fairway", SCAMIN=179999)
    chart.add("TOPMAR", wkt.point((0.0, -3350.0)), TOPSHP=3, COLOUR=RED, MASTER=buoy)
    light(chart, (0.0, -3350.0), ALL_ROUND, WHITE, MORSE, "(A)", 8.0, HEIGHT=6.0, VALNMR=7.0, OBJNAM="Merrow Fairway")
    topmarks = {"Data buoy M1": 7, "Data buoy M2": 33}
    for x, y, shape, category, name, note in (
            (-1300.0, 600.0, SPHERICAL, "12", None, None), (-1500.0, 500.0, SPHERICAL, "12", None, None),
            (-3000.0, -2000.0, SUPERBUOY, "9", "Data buoy M1", "Wave recorder"), (3600.0, -2300.0, CONICAL, "19", None, None),
            (1800.0, 200.0, CAN, "8", "Outfall", None), (-700.0, 1500.0, BARREL, "14", None, None),
            (-750.0, 1400.0, BARREL, "14,27", None, None), (3500.0, 300.0, PILLAR, "9,10", "Data buoy M2", "Current meter"),
            (-2200.0, 1200.0, SPAR, "29", None, None), (2500.0, 1500.0, None, None, None, None)):
        buoy = chart.add("BOYSPP", wkt.point((x, y)), BOYSHP=shape, CATSPM=category, COLOUR=YELLOW, STATUS="1",
                         OBJNAM=name, INFORM=note, SCAMIN=44999)
        if name in topmarks:
            chart.add("TOPMAR", wkt.point((x, y)), TOPSHP=topmarks[name], COLOUR=YELLOW, MASTER=buoy)
    light(chart, (-3000.0, -2000.0), ALL_ROUND, YELLOW, FLASHING, "(5)", 20.0, HEIGHT=6.0, VALNMR=5.0, OBJNAM="Data buoy M1")


def shore_lights(chart):
    head = (320.0, seabed.coast(320.0) + 120.0)  # the sector light that leads up the fairway
    for colour, first, second in ((GREEN, 340.0, 356.0), (WHITE, 356.0, 4.0), (RED, 4.0, 20.0)):
        light(chart, head, SECTOR, colour, ISOPHASE, None, 4.0, HEIGHT=18.0, VALNMR=12.0 if colour == WHITE else 9.0,
              SECTR1=first, SECTR2=second, OBJNAM="Merrow Head")
    strand = (-2600.0, seabed.coast(-2600.0) + 80.0)
    light(chart, strand, SECTOR, WHITE, OCCULTING, "(1)", 6.0, HEIGHT=22.0, VALNMR=14.0, SECTR1=270.0, SECTR2=90.0,
          OBJNAM="Strand Point")
    light(chart, strand, SECTOR, "1,3", 28, "(1)", 10.0, HEIGHT=22.0, VALNMR=14.0, SECTR1=0.0, SECTR2=0.0,
          OBJNAM="Strand Point Reserve")
    cliffs = (3700.0, seabed.coast(3700.0) + 150.0)
    light(chart, cliffs, ALL_ROUND, WHITE, FLASHING, "(3)", 15.0, HEIGHT=58.0, VALNMR=22.0, OBJNAM="Tern Cliffs")
    for dy, height, name in ((180.0, 12.0, "Front"), (620.0, 27.0, "Rear")):
        light(chart, (0.0, seabed.coast(0.0) + dy), LEADING, WHITE, ISOPHASE, None, 4.0, CATLIT="4,12" if name == "Front" else "4,13",
              HEIGHT=height, VALNMR=10.0, ORIENT=0.0, OBJNAM=f"Leading Lights {name}")
    light(chart, (1450.0, seabed.coast(1450.0) + 90.0), LEADING, GREEN, FIXED, None, None, CATLIT="1", HEIGHT=9.0, VALNMR=3.0,
          ORIENT=12.5)
    light(chart, (-1400.0, seabed.coast(-1400.0) + 90.0), LEADING, "11", FIXED, None, None, CATLIT="1", HEIGHT=9.0)
    for x, category in ((60.0, "8"), (-60.0, "9"), (-500.0, "6")):
        light(chart, (x, seabed.coast(x) + 40.0), AUXILIARY, WHITE if category != "6" else RED, FIXED, None, None, CATLIT=category,
              HEIGHT=14.0)
    light(chart, (200.0, seabed.coast(200.0) + 30.0), None, "5", FIXED, None, None, HEIGHT=5.0, STATUS="8",
          OBJNAM="Ferry Office")
    light(chart, (-200.0, seabed.coast(-200.0) + 30.0), ALL_ROUND, "5", FIXED, None, None, HEIGHT=5.0, STATUS="8,7")


def patch(x, y, width, height):
    """An area with eight corners around a place."""
    corners = [(x + width / 2 * math.sin(math.radians(a)), y + height / 2 * math.cos(math.radians(a)))
               for a in range(0, 360, 45)]
    return wkt.polygon([corners + corners[:1]])


def areas(chart):
    """Restricted areas and the nature of the seabed; the codes are lists."""
    for x, y, size, restrictions, name in (
            (-1900.0, -2900.0, 500.0, "7", "Target Range"), (seabed.BANK[0], seabed.BANK[1], 1700.0, "14", "Gannet Bank"),
            (3300.0, -3100.0, 400.0, "8,14", None), (-3700.0, 1200.0, 300.0, "8,11", "Wreck of the Lapwing"),
            (-900.0, -3000.0, 300.0, "1,3,7", "Old Minefield"), (0.0, -800.0, 250.0, "1", None),
            (300.0, -2200.0, 300.0, "2,4", "Telegraph Cable"), (800.0, 200.0, 350.0, "1,9", "Wellhead"),
            (-1400.0, 550.0, 300.0, "3,5", "Oyster Beds"), (1700.0, 900.0, 300.0, "6,10,12", "Sea Grass"),
            (0.0, 1750.0, 250.0, "13", None), (2300.0, 1100.0, 200.0, "9,11", None), (-2900.0, 1600.0, 250.0, None, "Yacht Club")):
        chart.add("RESARE", patch(x, y, size, size), RESTRN=restrictions, OBJNAM=name)
    for x, y, nature, water_level in (
            (-700.0, -2000.0, "1", 3), (700.0, -2600.0, "4,1", 3), (-1600.0, -700.0, "4,17", 3), (1900.0, -700.0, "4", 3),
            (-2700.0, -1700.0, "1,2,3", 3), (seabed.BANK[0], seabed.BANK[1], "9,17", 3), (-3000.0, 700.0, "6,5,7", 3),
            (-2200.0, 900.0, "14", 3), (3200.0, -400.0, "18,8", 3), (-1900.0, seabed.coast(-1900.0) - 60.0, "9", 4),
            (1200.0, seabed.coast(1200.0) - 60.0, "4,9", 4), (600.0, seabed.coast(600.0) - 50.0, "4", 4)):
        chart.add("SBDARE", patch(x, y, 200.0, 80.0), NATSUR=nature, WATLEV=water_level)


def draw(chart):
    land(chart)
    depths(chart)
    soundings(chart)
    dangers(chart)
    lateral_marks(chart)
    other_marks(chart)
    shore_lights(chart)
    areas(chart)
