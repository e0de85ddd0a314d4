function ok = check_output(label, expected, actual)
  % Compares what a kinetra call printed with the expected text, exactly.
  ok = strcmp(expected, actual);
  if ~ok
    printf('FAILED %s\n--- expected ---\n%s--- actual ---\n%s---\n', label, expected, actual);
  end
end
