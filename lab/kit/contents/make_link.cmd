@mklink /J %1 %2
