#!/usr/bin/env python3
"""Documents at work in Spark, on two local workers: the same answers as in one process, whatever happens to a worker."""

import os
import pathlib
import re
import sys
import unittest

import pyarrow
import symbology
import symbology.spark
from pyspark.sql import SparkSession
from support import LOOPBACK, PackageTest, buoy_rules

RULES = buoy_rules("""<expression library="labels"><![CDATA[
def Generate(OBJNAM, HEIGHT):
    return label(OBJNAM, HEIGHT)
]]></expression>""", """  <functionLibrary><expressionFile name="labels">labels.py</expressionFile></functionLibrary>
""")
LABELS = 'def label(name, height):\n    return "%s %.1fm" % (name, 1 / height)\n'
ROWS = 2000


def rows():
    return pyarrow.table({"ID": list(range(ROWS)), "OBJNAM": [f"No {i % 50}" for i in range(ROWS)],
                          "COLOUR": [("3", "4", None)[i % 3] for i in range(ROWS)],
                          "HEIGHT": pyarrow.array([(2.0, None, 0.0, None)[i % 4] if i % 100 else 4.0 for i in range(ROWS)], pyarrow.float64())})


TOPMARKS = pyarrow.table({"MASTER": ["No 2", "No 7"]})


class Spark(PackageTest):
    @classmethod
    def setUpClass(cls):
        os.environ.update(LOOPBACK, PYSPARK_PYTHON=sys.executable)
        cls.spark = (SparkSession.builder.master("local[2, 4]").appName("symbology").config("spark.ui.enabled", "false")
                     .config("spark.sql.shuffle.partitions", "4").config("spark.driver.host", "127.0.0.1")
                     .config("spark.driver.bindAddress", "127.0.0.1").config("spark.log.level", "ERROR").getOrCreate())

    @classmethod
    def tearDownClass(cls):
        cls.spark.stop()

    def setUp(self):
        super().setUp()
        self.rules = self.file("rules.cxml", RULES)
        self.labels = self.file("labels.py", LABELS)
        document = symbology.Document(self.rules)
        result = document.symbolize(rows(), layer="BOYLAT", related={"TOPMAR": TOPMARKS})
        self.expected = {row["ID"]: row for row in pyarrow.table(result).to_pylist()}
        self.assertTrue(any(row["LABEL"] for row in self.expected.values()))

    def frame(self):
        return self.spark.createDataFrame(rows()).repartition(5)

    def compare(self, frame):
        got = {row["ID"]: row.asDict() for row in frame.collect()}
        self.assertEqual(len(got), ROWS)
        different = [(number, row, self.expected[number]) for number, row in got.items() if row != self.expected[number]]
        self.assertEqual(different[:3], [])

    def test_equal_to_one_process(self):
        frame = symbology.spark.symbolize(self.frame(), self.rules, "BOYLAT", related={"TOPMAR": TOPMARKS}, files=[self.labels])
        self.assertEqual(frame.columns[-5:], ["SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C", "LABEL"])
        # What crosses is one struct of what the document reads, once, though its answers are five.
        plan = frame._jdf.queryExecution().executedPlan().toString()
        self.assertEqual((plan.count("ArrowEvalPython"), plan.count("decide("), plan.count("MapInArrow")), (1, 1, 0), plan)
        crossing = re.search(r"decide\((.*?)\)", plan).group(1)
        self.assertEqual(re.findall(r"(\w+), \w+#", crossing), ["OBJNAM", "COLOUR", "HEIGHT"], plan)
        # The files are needed when the function is made, and not afterwards.
        self.rules.unlink()
        self.labels.unlink()
        self.compare(frame)

    def test_columns_that_nobody_reads_may_be_anything(self):
        """Types that do not come to Python at all, and names that need quotes; what is written keeps its column."""
        from pyspark.sql import functions
        frame = (self.frame().withColumn("a `span`.x", functions.expr("INTERVAL '1-2' YEAR TO MONTH")).withColumn("symbol_c", functions.lit("OLD"))
                 .withColumn("many", functions.create_map(functions.lit("k"), functions.col("ID"))))
        symbolized = symbology.spark.symbolize(frame, self.rules, "BOYLAT", related={"TOPMAR": TOPMARKS}, files=[self.labels])
        self.assertEqual(symbolized.columns, [*frame.columns, "Xoffset_C", "Yoffset_C", "Rotate_C", "LABEL"])
        self.assertEqual([field for field in symbolized.schema if field.name in frame.columns][:4], list(frame.schema)[:4])
        odd = symbolized.where("`a ``span``.x` = INTERVAL '1-2' YEAR TO MONTH AND many['k'] = ID")
        self.assertEqual({row["ID"]: row["symbol_c"] for row in odd.select("ID", "symbol_c").collect()},
                         {number: row["SYMBOL_C"] for number, row in self.expected.items()})

    def test_a_document_that_reads_nothing(self):
        rules = self.file("default.cxml", '<conditionMap name="rules"><featureClass name="BOYLAT"><condition rulename="BOYDEF"/></featureClass></conditionMap>')
        frame = symbology.spark.symbolize(self.frame(), rules, "BOYLAT")
        self.assertEqual([row.asDict() for row in frame.groupBy("SYMBOL_C").count().collect()], [{"SYMBOL_C": "BOYDEF", "count": ROWS}])

    def test_a_worker_that_is_killed(self):
        """The first task to come ends its process; Spark begins it again elsewhere."""
        mark = str(self.folder / "killed")
        function = symbology.spark.symbolizer(self.rules, "BOYLAT", related={"TOPMAR": TOPMARKS}, files=[self.labels])

        def killed_once(batches):
            import os
            import signal
            try:
                os.close(os.open(mark, os.O_CREAT | os.O_EXCL))
            except FileExistsError:
                yield from function(batches)
            else:
                os.kill(os.getpid(), signal.SIGKILL)

        frame = self.frame()
        self.compare(frame.mapInArrow(killed_once, symbology.spark.schema(frame, self.rules, "BOYLAT")))
        self.assertTrue(pathlib.Path(mark).exists())

    def test_a_failure_has_our_words(self):
        function = symbology.spark.symbolizer(self.rules, "BOYLAT", files=[self.labels], subtype_field="NOSUCH")
        frame = self.frame()
        with self.assertRaisesRegex(Exception, "there is no subtype field 'NOSUCH'"):
            frame.mapInArrow(function, symbology.spark.schema(frame, self.rules, "BOYLAT")).collect()
        with self.assertRaisesRegex(symbology.SymbologyError, "no configuration defined for 'LNDMRK'"):
            symbology.spark.schema(frame, self.rules, "LNDMRK")


if __name__ == "__main__":
    unittest.main()
