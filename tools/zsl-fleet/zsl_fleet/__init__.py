"""zsl-fleet: zsl-replay explain over a field trial's bug reports, on a Dask cluster."""
