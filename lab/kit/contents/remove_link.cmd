@rmdir %1
