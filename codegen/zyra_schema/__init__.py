"""Schema files of the module layer: parsing, the model, and the C++ they turn into."""
