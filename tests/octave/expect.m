% Appends the message (a printf format and its arguments) to the failures f
% unless ok holds.
function f = expect(f, ok, varargin)
  if ~ok, f{end + 1} = sprintf(varargin{:}); end
end
