# text: sources, tool commands, tests, benchmarks and fuzz targets of this area.
