def label(char, period):
    return f"{char} {period:g}s"
