# ---
# A notebook as a script: editors and Jupyter (by jupytext) show its cells, and `python buoys.py` runs them all.
# ---

# %% [markdown]
# # Buoys and their symbols
# A table of lateral buoys gets its symbols from a rule document. Nothing here needs a database or a chart: any table that speaks Arrow
# will do, such as one of pandas, polars, DuckDB or geopandas.

# %%
import pathlib

import pyarrow
import symbology

FOLDER = pathlib.Path(__file__).parent if "__file__" in globals() else pathlib.Path()
buoys = pyarrow.table({
    "OBJNAM": ["1", "2", "3", "east", None],
    "CATLAM": pyarrow.array([1, 2, 1, 2, None], pyarrow.int32()),
    "COLOUR": ["3", "4", "3", "4,3", None],
})
topmarks = pyarrow.table({"MASTER": ["2"]})

# %% [markdown]
# ## The document
# Which classes it configures, and what it reads and writes.

# %%
document = symbology.Document(FOLDER / "buoys.cxml")
print("classes:", *document.classes)
fields = document.fields("BOYLAT")
print("reads:", *fields.read)
print("writes:", *fields.written)

# %% [markdown]
# ## The run
# The result is read once: rows are symbolized while it is.

# %%
result = document.symbolize(buoys, layer="BOYLAT", related={"TOPMAR": topmarks})
symbolized = pyarrow.table(result)
for row in symbolized.select(["OBJNAM", "SYMBOL_C", "Rotate_C", "LABEL"]).to_pylist():
    print(*row.values())

# %% [markdown]
# ## What is to be told of it
# A label that cannot be made is a message and no failure; the ledger has how each row ended.

# %%
print(result.rows, "rows,", result.changed, "changed")
for message in result.messages:
    print(message.count, "times", " ".join(message.text.split()))

# %%
print(result.ledger)

# %% [markdown]
# ## Why a row has its symbol

# %%
for explanation in document.explain(buoys, layer="BOYLAT", rows=[4], related={"TOPMAR": topmarks}):
    print(explanation)
