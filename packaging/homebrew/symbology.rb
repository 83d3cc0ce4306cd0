class Symbology < Formula
  desc "Rule-driven symbology for nautical chart databases"
  homepage "https://example.org/symbology" # the owner's
  url "https://example.org/symbology/symbology-0.2.0.tar.gz" # the owner's, with its sha256
  # license: the owner's

  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "kainjow-mustache" => :build
  depends_on "ninja" => :build
  depends_on "nlohmann-json" => :build
  depends_on "pkgconf" => :build
  depends_on "fmt"
  depends_on "gdal"
  depends_on "icu4c"
  depends_on "libmd"
  depends_on "libpq"
  depends_on "librsvg"
  depends_on "libxml2"
  depends_on :linux
  depends_on "python@3.13"
  depends_on "sqlite"

  def install
    system "cmake", "-S", ".", "-B", "build/brew", "-G", "Ninja", "-DSYMBOLOGY_TESTS=OFF", "-DSYMBOLOGY_WERROR=OFF",
           "-DSYMBOLOGY_PYTHON=#{Formula["python@3.13"].opt_bin}/python3.13", *std_cmake_args
    system "cmake", "--build", "build/brew"
    system "cmake", "--install", "build/brew"
  end

  test do
    assert_match version.to_s, shell_output("#{bin}/cxml --version")
  end
end
