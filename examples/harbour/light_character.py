"""Descriptions of lights as charts have them: Fl(2)R.10s15m12M."""

CHARACTERS = {1: "F", 2: "Fl", 3: "LFl", 4: "Q", 5: "VQ", 7: "Iso", 8: "Oc", 12: "Mo", 26: "VQ+LFl", 28: "Al"}
# In the order in which charts name them.
COLOURS = {"1": "W", "3": "R", "4": "G", "5": "Bu", "6": "Y", "11": "Or"}


def flashes(character, group):
    """VQ(6)+LFl of 26 and (6)(1); a group of one goes without saying."""
    parts = CHARACTERS.get(character, "Lt").split("+")
    groups = ["(" + text for text in (group or "").split("(")[1:]]
    groups += [""] * (len(parts) - len(groups))
    return "+".join(part + ("" if of in ("()", "(1)") else of) for part, of in zip(parts, groups))


def colours(lists):
    """WRG of the lists of codes of one or more lights. White alone goes without saying."""
    codes = {code for codes in lists for code in (codes or "1").split(",")}
    text = "".join(letters for code, letters in COLOURS.items() if code in codes)
    return "" if text == "W" else text


def metres(value):
    return "%gm" % value if value else ""


def ranges(values):
    """12M, 12/9M of two, 15-7M of more."""
    distinct = sorted({value for value in values if value}, reverse=True)
    if not distinct:
        return ""
    between = "-" if len(distinct) > 2 else "/"
    return between.join("%g" % value for value in dict.fromkeys((distinct[0], *distinct[1:][-1:]))) + "M"


def light_description(character, group, colour_lists, period, height=None, range_values=()):
    text = flashes(character, group)
    named = colours(colour_lists)
    figures = ("%gs" % period if period else "") + metres(height) + ranges(range_values)
    if named:
        text += ("" if text.endswith(")") else ".") + named
    if figures:
        text += ("" if text.endswith(")") and not named else ".") + figures
    return text
