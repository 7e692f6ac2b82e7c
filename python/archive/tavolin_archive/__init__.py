"""Checks archives of media files for damage, on one machine or on the workers of a Dask cluster."""
